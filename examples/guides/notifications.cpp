// SPDX-License-Identifier: MIT
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <future>
#include <iostream>
#include <memory>

namespace {

class Display {
 public:
  void ShowProgress(std::uint32_t percent) {
    static MFlowPoint point(L"Display", L"ShowProgress");
    if (percent > 100) {
      point.At(this).Raise(L"MoreThanAll", L"percent", percent);
    }
    std::wcout << percent << L" %\n";
  }
};

class Progress final : public MDesyncEvent {
 public:
  Progress(Display& display, std::uint32_t percent) : display_(display), percent_(percent) {}

  void Fire() override { display_.ShowProgress(percent_); }

 private:
  Display& display_;
  std::uint32_t percent_;
};

// Says that everything scheduled before it has been delivered.
class LastNotification final : public MDesyncEvent {
 public:
  explicit LastNotification(std::promise<void>& delivered) : delivered_(delivered) {}

  void Fire() override { delivered_.set_value(); }

 private:
  std::promise<void>& delivered_;
};

void WaitUntilDelivered(MDesyncEventScheduler& scheduler) {
  std::promise<void> delivered;
  scheduler.ScheduleDesyncEvent(new LastNotification(delivered));
  delivered.get_future().wait();
}

}  // namespace

int main() {
  Display display;
  MDesyncEventScheduler scheduler(nullptr);
  scheduler.ScheduleDesyncEvent(new Progress(display, 25));  // waits for Enable
  scheduler.Enable();
  scheduler.ScheduleDesyncEvent(new Progress(display, 50));
  scheduler.ScheduleDesyncEvent(new Progress(display, 101));  // fails, and is logged
  scheduler.ScheduleDesyncEvent(new Progress(display, 100));
  WaitUntilDelivered(scheduler);
  scheduler.Disable();
}
