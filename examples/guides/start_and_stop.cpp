// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"
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
    if (const MError* error = exception.GetError(0)) {
      std::wcout << error->GetMessage() << L'\n';
    }
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
      : MCommandSynchronous(outcome), scheduler(notifications) {}

 private:
  void Execute() override { scheduler.ScheduleDesyncEvent(new Saved); }

  MDesyncEventScheduler& scheduler;
};

class LastNotification final : public MDesyncEvent {
 public:
  explicit LastNotification(std::promise<void>& signal) : delivered(signal) {}
  void Fire() override { delivered.set_value(); }

 private:
  std::promise<void>& delivered;
};

class Application {
 public:
  Application() : notifications(&reporter), processor(NewProcessor(&reporter)) {}

  void Start() {
    notifications.Enable();
    Velta::Libraries::GenericGuard undo([this] { notifications.Disable(); });
    processor->Start();
    undo.Dismiss();
    std::wcout << L"started\n";
  }

  void Stop() {
    processor->Stop();  // no command runs from here on, so nothing new is scheduled
    std::promise<void> delivered;
    notifications.ScheduleDesyncEvent(new LastNotification(delivered));
    delivered.get_future().wait();
    notifications.Disable();
    std::wcout << L"stopped\n";
  }

  void Restart() {
    Stop();
    processor = NewProcessor(&reporter);  // a stopped one refuses work for good
    Start();
  }

  void SaveAll() {
    const MExceptionHolder outcome = MExceptionHolder::Create();
    std::unique_ptr<MCommandSynchronous> command = std::make_unique<Save>(outcome, notifications);
    processor->ExecuteSynchronously(command);
    outcome.ThrowIfError();
  }

 private:
  static std::unique_ptr<MCommandProcessor> NewProcessor(IThreadErrorHandler* handler) {
    return std::make_unique<MCommandProcessor>(handler, nullptr, nullptr, nullptr, 0, false);
  }

  // In the order in which they need each other; they go in the opposite order.
  Reporter reporter;
  MDesyncEventScheduler notifications;
  std::unique_ptr<MCommandProcessor> processor;
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
    if (const MError* error = exception.GetError(0)) {
      std::wcout << error->GetMessage() << L'\n';
    }
    return 1;
  }
}
