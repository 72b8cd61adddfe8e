// SPDX-License-Identifier: MIT
#include "velta/logging/MFlowPoint.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/internal/NameKey.h"

using namespace Velta::Logging;

namespace {

const wchar_t PointClassName[] = L"MFlowPoint";
const wchar_t ScopeClassName[] = L"MFlowScope";
const ClassNameRegistration registrations[] = {ClassNameRegistration(PointClassName),
                                               ClassNameRegistration(ScopeClassName)};

void LogNamed(MFlowEventKind kind, std::uint32_t value1, std::uint32_t value2,
              const wchar_t* className, const wchar_t* operationName, const void* object) noexcept {
  if (MFlowLogger* const logger = MFlowLogger::Instance()) {
    logger->LogEvent(static_cast<std::uint32_t>(kind), value1, value2, NameKey(className),
                     NameKey(operationName), object);
  }
}

}  // namespace

MFlowPoint::MFlowPoint(const wchar_t* ownerClass, const wchar_t* operation) noexcept
    : className(ownerClass), operationName(operation) {
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterPointName(className, operationName, operationName);
  }
}

void MFlowPoint::LogConstruction() noexcept { Log(MFlowEventKind::Construction, 0, LineValue()); }

void MFlowPoint::LogDestruction() noexcept { Log(MFlowEventKind::Destruction, 0, LineValue()); }

void MFlowPoint::LogDismissedError(const MError& /*error*/) noexcept {
  Log(MFlowEventKind::DismissedError, 0, LineValue());
}

void MFlowPoint::LogDismissedError(const MException& /*exception*/) noexcept {
  Log(MFlowEventKind::DismissedError, 0, LineValue());
}

void MFlowPoint::LogStateChange(std::uint32_t value1, std::uint32_t value2) noexcept {
  Log(MFlowEventKind::StateChange, value1, value2);
}

void MFlowPoint::LogTimingPoint(std::uint32_t value1, std::uint32_t value2) noexcept {
  Log(MFlowEventKind::TimingPoint, value1, value2);
}

MFlowScope MFlowPoint::OpenScope() noexcept { return OpenScope(0, LineValue()); }

MFlowScope MFlowPoint::OpenScope(std::uint32_t value1, std::uint32_t value2) noexcept {
  // The scope ends as it began, whatever object the shared point is set to meanwhile.
  const void* const subject = object.load(std::memory_order_relaxed);
  LogNamed(MFlowEventKind::ScopePush, value1, value2, className, operationName, subject);
  return {value1, value2, className, operationName, subject};
}

void MFlowPoint::ReportError(MFlowEventKind kind, const wchar_t* errorName) noexcept {
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterErrorName(errorName, errorName);
  }
  Log(kind, NameKey(errorName), LineValue());
}

void MFlowPoint::Log(MFlowEventKind kind, std::uint32_t value1,
                     std::uint32_t value2) const noexcept {
  LogNamed(kind, value1, value2, className, operationName, object.load(std::memory_order_relaxed));
}

std::uint32_t MFlowPoint::LineValue() const noexcept {
  return static_cast<std::uint32_t>(line.load(std::memory_order_relaxed));
}

void MFlowScope::Close() noexcept {
  if (!active) {
    return;
  }
  active = false;
  LogNamed(MFlowEventKind::ScopePop, value1, value2, className, operationName, object);
}
