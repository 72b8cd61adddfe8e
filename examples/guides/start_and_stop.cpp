// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/errors/Describe.h"
#include "velta/errors/GenericGuard.h"
#include "velta/errors/IThreadErrorHandler.h"
#include "velta/errors/MException.h"

#include <cstdint>
#include <future>
#include <iostream>
#include <memory>

namespace {

class Reporter final : public IThreadErrorHandler {
 public:
  void OnSpontaneousError(const MException& exception) override {
    std::wcout << Describe(exception) << L'\n';
  }
  void OnUnhandledException(std::uintptr_t) override {}
};

class Saved final : public MDesyncEvent {
 public:
  void Fire() override { std::wcout << L"notified: saved\n"; }
};

class Save final : public MCommandSynchronous {
 public:
  Save(const MExceptionHolder& outcome, MDesyncEventScheduler& notifications)
      : MCommandSynchronous(outcome), notifications_(notifications) {}

 private:
  void Execute() override { notifications_.ScheduleDesyncEvent(new Saved); }

  MDesyncEventScheduler& notifications_;
};

class LastNotification final : public MDesyncEvent {
 public:
  explicit LastNotification(std::promise<void>& delivered) : delivered_(delivered) {}
  void Fire() override { delivered_.set_value(); }

 private:
  std::promise<void>& delivered_;
};

class Application {
 public:
  Application() : notifications_(&reporter_), processor_(NewProcessor(&reporter_)) {}

  void Start() {
    notifications_.Enable();
    Velta::Libraries::GenericGuard undo([this] { notifications_.Disable(); });
    processor_->Start();
    undo.Dismiss();
    std::wcout << L"started\n";
  }

  void Stop() {
    processor_->Stop();  // no command runs from here on, so nothing new is scheduled
    std::promise<void> delivered;
    notifications_.ScheduleDesyncEvent(new LastNotification(delivered));
    delivered.get_future().wait();
    notifications_.Disable();
    std::wcout << L"stopped\n";
  }

  void Restart() {
    Stop();
    processor_ = NewProcessor(&reporter_);  // a stopped one refuses commands
    Start();
  }

  void SaveAll() {
    const MExceptionHolder outcome = MExceptionHolder::Create();
    std::unique_ptr<MCommandSynchronous> command = std::make_unique<Save>(outcome, notifications_);
    processor_->ExecuteSynchronously(command);
    outcome.ThrowIfError();
  }

 private:
  static std::unique_ptr<MCommandProcessor> NewProcessor(IThreadErrorHandler* handler) {
    return std::make_unique<MCommandProcessor>(handler, nullptr, nullptr, nullptr, 0, false);
  }

  // In the order in which they need each other: they are destroyed in the opposite order.
  Reporter reporter_;
  MDesyncEventScheduler notifications_;
  std::unique_ptr<MCommandProcessor> processor_;
};

}  // namespace

int main() {
  try {
    Application application;
    application.Start();
    application.SaveAll();
    application.Restart();
    application.SaveAll();
    application.Stop();
  } catch (const MException& exception) {
    std::wcout << Describe(exception) << L'\n';
    return 1;
  }
}
