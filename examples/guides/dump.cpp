// SPDX-License-Identifier: MIT
// A command that fails and one that does not, and what the log says of them: on the standard
// output, or in a file of the given name, with the errors beside it.

#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

namespace {

const wchar_t HeatName[] = L"Heat";
const wchar_t BoilerName[] = L"Boiler";
const Velta::Logging::ClassNameRegistration heatRegistration(HeatName);
const Velta::Logging::ClassNameRegistration boilerRegistration(BoilerName);

class Heat final : public MCommandSynchronous {
 public:
  Heat(const MExceptionHolder& outcome, MString recipe, std::uint32_t degrees)
      : MCommandSynchronous(outcome), recipe_(std::move(recipe)), degrees_(degrees) {}

 private:
  void Execute() override {
    static MFlowPoint point(HeatName, L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    if (degrees_ > 90) {
      point.At(this).Raise(L"TooHot", {{L"file", recipe_}, {L"degrees", degrees_}});
    }
    point.At(this).LogTimingPoint(degrees_, 0);
  }

  MString recipe_;
  std::uint32_t degrees_;
};

void Run(MCommandProcessor& processor, const wchar_t* recipe, std::uint32_t degrees) {
  static MFlowPoint point(BoilerName, L"Run");
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<Heat>(outcome, recipe, degrees);
  processor.ExecuteSynchronously(command);
  if (outcome.HasError()) {
    point.At(&processor).LogDismissedError(*outcome.GetException());
  }
}

bool WriteLog(MFlowLogger& logger, const std::string& name) {
  std::ofstream file(name);
  if (!file.is_open()) {
    return false;
  }
  const bool hasErrors = MErrorHistory::DumpToFile(name + ".errors");
  logger.Dump(file);
  return hasErrors && file.good();
}

}  // namespace

int main(int count, char** arguments) {
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
    Run(processor, L"mild.xml", 60);
    Run(processor, L"steep.xml", 95);
    processor.Stop();
  }
  if (count > 1) {
    return WriteLog(*logger, arguments[1]) ? 0 : 1;
  }
  logger->Dump(std::cout);
}
