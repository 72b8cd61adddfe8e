// SPDX-License-Identifier: MIT
// A command that fails and one that does not, and what the log says of them.

#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <iostream>
#include <memory>

namespace {

const wchar_t HeatName[] = L"Heat";
const wchar_t BoilerName[] = L"Boiler";
const Velta::Logging::ClassNameRegistration heatRegistration(HeatName);
const Velta::Logging::ClassNameRegistration boilerRegistration(BoilerName);

class Heat final : public MCommandSynchronous {
 public:
  Heat(const MExceptionHolder& outcome, std::uint32_t degrees)
      : MCommandSynchronous(outcome), degrees_(degrees) {}

 private:
  void Execute() override {
    static MFlowPoint point(HeatName, L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    if (degrees_ > 90) {
      point.At(this).Raise(L"TooHot", L"degrees", degrees_);
    }
    point.At(this).LogTimingPoint(degrees_, 0);
  }

  std::uint32_t degrees_;
};

void Run(MCommandProcessor& processor, std::uint32_t degrees) {
  static MFlowPoint point(BoilerName, L"Run");
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<Heat>(outcome, degrees);
  processor.ExecuteSynchronously(command);
  if (outcome.HasError()) {
    point.At(&processor).LogDismissedError(*outcome.GetException());
  }
}

}  // namespace

int main() {
  MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance();
  MFlowLogger* const logger = MFlowLogger::Instance();
  if (registry == nullptr || logger == nullptr) {
    return 1;
  }
  registry->RegisterThreadName(L"Main thread");
  {
    MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
    registry->RegisterObjectName(&processor, L"Boiler");
    processor.Start();
    Run(processor, 60);
    Run(processor, 95);
    processor.Stop();
  }
  logger->Dump(std::cout);
}
