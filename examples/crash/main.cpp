// SPDX-License-Identifier: MIT
// A host that writes its event log when it crashes, and crashes when asked to.
#include "CrashFilter.h"
#include "CrashReporter.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdio>
#include <cstdlib>
#include <latch>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

const wchar_t ClassName[] = L"Crash";
const Velta::Logging::ClassNameRegistration registration(ClassName);

int ReadNowhere() {
  volatile int* volatile nowhere = nullptr;  // no compiler knows where it leads
  return *nowhere;
}

// Two threads fail at once, the second while the first is being reported.
void ReadNowhereTwice() {
  std::latch both(2);
  const auto fail = [&both] {
    both.arrive_and_wait();
    ReadNowhere();
  };
  std::thread other(fail);
  fail();
  other.join();
}

// Writes past the end of a block, over what the allocator keeps there. An allocator that notices
// aborts with its lock held. Volatile, since compilers notice as well.
void DamageHeap() {
  const volatile std::size_t size = 100000;  // too large for what was freed before
  auto* const block = static_cast<volatile char*>(std::malloc(size));
  for (std::size_t i = 0; i < 24; ++i) {
    block[size + i] = -1;
  }
  *static_cast<volatile char*>(std::malloc(size)) = 0;
}

struct LeavesLate {
  LeavesLate() = default;
  LeavesLate(const LeavesLate&) = delete;
  LeavesLate& operator=(const LeavesLate&) = delete;
  ~LeavesLate() {
    if (fails) {
      ReadNowhere();
    }
  }

  bool fails = false;
};
LeavesLate leavesLate;

class Crash : public MCommandSynchronous {
 public:
  Crash(const MExceptionHolder& outcome, std::string_view kind)
      : MCommandSynchronous(outcome), kind_(kind) {}

 private:
  void Execute() override {
    static MFlowPoint point(ClassName, L"Execute");
    const MFlowScope scope = point.At(this).OpenScope();
    try {
      point.At(this).Raise(L"NoPlan", L"file", std::string("plan.xml"));
    } catch (const MException& exception) {
      point.At(this).LogDismissedError(exception);
    }
    if (kind_ == "read") {
      ReadNowhere();
    }
    if (kind_ == "twice") {
      ReadNowhereTwice();
    }
    if (kind_ == "heap") {
      DamageHeap();
    }
    if (kind_ == "abort") {
      std::abort();
    }
    if (kind_ == "throw") {
      throw std::runtime_error("nobody handles this");
    }
    leavesLate.fails = kind_ == "exit";
  }

  std::string_view kind_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fputs("usage: crash read|twice|heap|abort|throw|exit|nothing LOGFILE\n", stderr);
    return 2;
  }
  static auto& reporter = *new CrashReporter(arguments[2]);
  InstallCrashFilter(reporter);

  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  std::unique_ptr<MCommandSynchronous> command =
      std::make_unique<Crash>(MExceptionHolder::Create(), arguments[1]);
  processor.ExecuteSynchronously(command);
  processor.Stop();
}
