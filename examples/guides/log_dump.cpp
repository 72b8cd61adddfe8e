// SPDX-License-Identifier: MIT
// Logs one event of every kind and dumps them; with an argument, the errors instead.

#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowEventKind.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <iostream>

namespace {

const wchar_t ClassName[] = L"Valve";  // its address is the key: one array for points and names
const Velta::Logging::ClassNameRegistration registration(ClassName);

class Valve {
 public:
  enum State : std::uint32_t { Closed = 0, Open = 1 };

  Valve() noexcept {
    static MFlowPoint point(ClassName, L"Valve");
    point.At(this).LogConstruction();
  }
  Valve(const Valve&) = delete;
  Valve& operator=(const Valve&) = delete;
  ~Valve() {
    static MFlowPoint point(ClassName, L"~Valve");
    point.At(this).LogDestruction();
  }

  void Turn(std::uint32_t pressure) {
    static MFlowPoint point(ClassName, L"Turn");
    const MFlowScope scope = point.At(this).OpenScope();
    point.At(this).LogTimingPoint(pressure, 250);
    if (pressure > 200) {
      point.At(this).Raise(L"PressureTooHigh", L"pressure", pressure);
    }
    point.At(this).LogStateChange(Open, 0);
  }

  void TryToTurn(std::uint32_t pressure) noexcept {
    static MFlowPoint point(ClassName, L"TryToTurn");
    try {
      Turn(pressure);
    } catch (const MException& exception) {
      point.At(this).LogDismissedError(exception);
    }
  }
};

// Kinds that no flow point writes, for modules that log through the interface itself.
void LogOthers(MFlowLogger& logger, const Valve& valve) {
  const auto key = [](const void* name) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(name));
  };
  static const wchar_t operation[] = L"Report";
  static const wchar_t condition[] = L"LidLoose";
  MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance();
  if (registry == nullptr) {
    return;
  }
  registry->RegisterPointName(ClassName, operation, operation);
  registry->RegisterErrorName(condition, condition);
  registry->RegisterMessageName(7, L"Shut");
  const auto log = [&](MFlowEventKind kind, std::uint32_t value) {
    logger.LogEvent(static_cast<std::uint32_t>(kind), value, 70, key(ClassName), key(operation),
                    &valve);
  };
  log(MFlowEventKind::CascadeError, key(condition));
  log(MFlowEventKind::ReturnError, key(condition));
  log(MFlowEventKind::Warning, key(condition));
  log(MFlowEventKind::MessageSend, 7);
  log(MFlowEventKind::MessageReceive, 7);
}

}  // namespace

int main(int count, char** /*arguments*/) {
  MFlowLogger* const logger = MFlowLogger::Instance();
  MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance();
  if (logger == nullptr || registry == nullptr) {
    return 1;
  }
  registry->RegisterStateName(ClassName, Valve::Open, L"Open");
  registry->RegisterThreadName(L"Main thread");
  {
    Valve valve;
    registry->RegisterObjectName(&valve, L"Inlet");
    valve.Turn(180);
    valve.TryToTurn(220);
    LogOthers(*logger, valve);
  }
  if (count > 1) {
    return MErrorHistory::Dump(std::cout) ? 0 : 1;
  }
  logger->Dump(std::cout);
}
