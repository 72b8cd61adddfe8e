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
  Progress(Display& receiver, std::uint32_t done) : display(receiver), percent(done) {}

  void Fire() override { display.ShowProgress(percent); }

 private:
  Display& display;
  std::uint32_t percent;
};

// Says that everything scheduled before it has been delivered.
class Milestone final : public MDesyncEvent {
 public:
  explicit Milestone(std::promise<void>& signal) : reached(signal) {}

  void Fire() override { reached.set_value(); }

 private:
  std::promise<void>& reached;
};

void WaitUntilDelivered(MDesyncEventScheduler& scheduler) {
  std::promise<void> reached;
  scheduler.ScheduleDesyncEvent(new Milestone(reached));
  reached.get_future().wait();
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
