// SPDX-License-Identifier: MIT
#include "modules_plugin.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MException.h"
#include "velta/logging/KLogger.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MKLoggerAdapter.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace {

void Measure(MCommandProcessor& processor, std::uint32_t channel) {
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = NewMeasurement(outcome, channel);
  processor.ExecuteSynchronously(command);
  try {
    outcome.ThrowIfError();
    std::cout << "channel " << channel << " measured\n";
  } catch (const MException& exception) {  // thrown in one module, caught in another
    const MError* const error = exception.GetError(0);
    const MString code = error ? error->GetCode() : MString();
    std::cout << std::string(code.begin(), code.end()) << '\n';
  }
}

// The lines that name the plugin's class or the modules themselves.
void PrintWhatConcerns(const char* subject, const std::string& dump) {
  std::istringstream lines(dump);
  for (std::string line; std::getline(lines, line);) {
    if (line.find(subject) != std::string::npos) {
      std::cout << line.substr(0, line.find(" for_object")) << "\n";
    }
  }
}

}  // namespace

int main() {
  KLogger secondLog;
  MKLoggerAdapter second(&secondLog);
  MFlowLogger secondHandle(&second);
  MFlowLogger* const log = MFlowLogger::Instance();
  if (log == nullptr) {
    return 1;
  }

  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  Measure(processor, 1);
  log->Attach(&secondHandle);  // from here on every event goes to both
  Measure(processor, 7);
  log->Attach(nullptr);  // before the second log is destroyed
  processor.Stop();

  std::ostringstream mirrored;
  secondHandle.Dump(mirrored);
  PrintWhatConcerns("Log_module", mirrored.str());
  PrintWhatConcerns("in_class Measurement", mirrored.str());
}
