// SPDX-License-Identifier: MIT
// A host that leaves its event log behind when it crashes, and crashes when asked to.
#include "CrashFilter.h"
#include "CrashReporter.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace {

const wchar_t ClassName[] = L"Crash";

class Crash : public MCommandSynchronous {
 public:
  Crash(const MExceptionHolder& outcome, std::string_view kind)
      : MCommandSynchronous(outcome), wanted(kind) {}

 private:
  void Execute() override {
    static MFlowPoint point(ClassName, L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    volatile int* const nowhere = nullptr;
    if (wanted == "read") value = *nowhere;
    if (wanted == "throw") throw std::runtime_error("nobody handles this");
  }

  std::string_view wanted;
  int value = 0;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fputs("usage: crash read|throw|nothing LOGFILE\n", stderr);
    return 2;
  }
  CrashReporter reporter(arguments[2]);
  InstallCrashFilter(reporter);
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterClassName(ClassName, ClassName);
  }

  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  std::unique_ptr<MCommandSynchronous> command =
      std::make_unique<Crash>(MExceptionHolder::Create(), arguments[1]);
  processor.ExecuteSynchronously(command);
  processor.Stop();
}
