// SPDX-License-Identifier: MIT
// A module that links the framework, for a host that does not and for one that does.
#include "tests/crossmodule/FailingPart.h"
#include "tests/crossmodule/Module.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MDesyncEvent.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/commands/MExceptionHolder.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace {

class FailingCommand : public MCommandSynchronous {
 public:
  explicit FailingCommand(MExceptionHolder holder) : MCommandSynchronous(std::move(holder)) {}

 protected:
  void Execute() override {
    static MFlowPoint point(L"FailingCommand", L"Execute");
    point.At(this).Raise(L"Failed");
  }
};

class CountingEvent : public MDesyncEvent {
 public:
  explicit CountingEvent(std::atomic<int>* firedEvents) : fired(firedEvents) {}

  void Fire() override {
    fired->fetch_add(1, std::memory_order_release);
    fired->notify_one();
  }

 private:
  std::atomic<int>* fired;
};

/// Runs a command on a processor and takes its exception back.
bool RunCommand() {
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<FailingCommand>(outcome);
  processor.ExecuteSynchronously(command);
  processor.Stop();
  try {
    outcome.ThrowIfError();
  } catch (const MException& exception) {
    return exception.GetErrorCount() == 1;
  }
  return false;
}

/// Delivers notifications, and leaves it to the destructor to stop the thread.
bool DeliverNotifications() {
  std::atomic<int> fired{0};
  MDesyncEventScheduler scheduler(nullptr);
  scheduler.Enable();
  scheduler.ScheduleDesyncEvent(new CountingEvent(&fired));
  fired.wait(0, std::memory_order_acquire);
  return fired.load(std::memory_order_relaxed) == 1;
}

}  // namespace

/// @return 0, or the number of the step that failed
VELTA_TEST_EXPORT int RunEverything() {
  try {
    if (!RunCommand()) return 1;
    if (!DeliverNotifications()) return 2;
  } catch (const std::exception&) {
    return 3;
  }
  return 0;
}

/// Hands the text of a failure to a function, as characters: the two sides' strings may differ.
VELTA_TEST_EXPORT void HandOverFailure(void* receiver,
                                       void (*take)(void*, const wchar_t*, std::size_t)) {
  const MString text = FailureAsText();
  take(receiver, text.data(), text.size());
}
