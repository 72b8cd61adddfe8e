// SPDX-License-Identifier: MIT
// A module that links the framework, for a host that does not.
#include "tests/crossmodule/Module.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MDesyncEvent.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/commands/MExceptionHolder.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <future>
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

struct TellingEvent : MDesyncEvent {
  explicit TellingEvent(std::promise<void>& firedPromise) : fired(firedPromise) {}
  void Fire() override { fired.set_value(); }

  std::promise<void>& fired;
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

/// Delivers a notification, and leaves it to the destructor to stop the thread.
void DeliverNotification() {
  std::promise<void> fired;
  MDesyncEventScheduler scheduler(nullptr);
  scheduler.Enable();
  scheduler.ScheduleDesyncEvent(new TellingEvent(fired));
  fired.get_future().wait();
}

}  // namespace

/// Whether all went well.
VELTA_TEST_EXPORT bool RunEverything() {
  DeliverNotification();
  return RunCommand();
}
