// SPDX-License-Identifier: MIT
#include "tests/support/LoggedEvents.h"
#include "tests/support/Raises.h"
#include "tests/support/StressScale.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/threads/MMutex.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

class Notification final : public MDesyncEvent {
 public:
  Notification(std::atomic<int>& deletions, std::function<void()> delivery)
      : deleted(deletions), fire(std::move(delivery)) {}
  ~Notification() override { ++deleted; }
  void Fire() override { fire(); }

 private:
  std::atomic<int>& deleted;
  std::function<void()> fire;
};

class DesyncEventScheduler : public testing::Test {
 protected:
  MDesyncEvent* Make(std::function<void()> delivery) {
    return new Notification(deleted, std::move(delivery));
  }

  const Watchdog watchdog{"a desync event scheduler"};
  std::atomic<int> deleted{0};
  TestEvent done;
  ErrorRecorder recorder;
};

TEST_F(DesyncEventScheduler, DeliversToAReceiverForWhichTheSenderWaitsUnderALockOfItsOwn) {
  MDesyncEventScheduler scheduler(&recorder);
  scheduler.Enable();
  const TestEvent fired(false);
  MMutex mutex;
  const MMutexGuard lock(mutex);
  const int rounds = StressRounds(1000);  // most find the scheduler's thread asleep
  for (int round = 0; round < rounds; ++round) {
    scheduler.ScheduleDesyncEvent(Make([&] { fired.Set(); }));
    fired.Wait();
  }
  scheduler.Disable();
  EXPECT_EQ(deleted, rounds);
}

TEST_F(DesyncEventScheduler, OneDrainDeliversAllInOrderThoughSomeThrowAndSomeAreNew) {
  struct CountingScheduler final : MDesyncEventScheduler {
    using MDesyncEventScheduler::MDesyncEventScheduler;
    void OnSchedulerEvent() override {
      ++drains;
      MDesyncEventScheduler::OnSchedulerEvent();
    }
    int drains = 0;
  };
  std::vector<int> fired;
  const std::vector<LoggedEvent> events = LogDuring([&] {
    CountingScheduler scheduler(&recorder);
    for (int number = 1; number <= 3; ++number) {
      scheduler.ScheduleDesyncEvent(Make([&, number] {
        fired.push_back(number);
        if (number == 1) {
          scheduler.ScheduleDesyncEvent(Make([&] {
            fired.push_back(4);
            done.Set();
          }));
        }
        throw ExceptionOf(L"fire");
      }));
    }
    scheduler.ScheduleDesyncEvent(nullptr);
    EXPECT_THAT(fired, testing::IsEmpty());
    scheduler.Enable();
    done.Wait();
    scheduler.Disable();
    EXPECT_EQ(scheduler.drains, 1);
  });
  EXPECT_THAT(fired, testing::ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(deleted, 4);
  EXPECT_FALSE(recorder.error.has_value());
  EXPECT_THAT(events, LoggedInOrder(std::vector<std::string>(
                          3, "Dismissed_error (unknown) MDesyncEventScheduler.OnSchedulerEvent")));
}

TEST_F(DesyncEventScheduler, KeepsWhatIsScheduledWhileDisabledAndFinishesTheDeliveryInProgress) {
  Notification queued(deleted, [] { ADD_FAILURE(); });
  bool delivered = false;
  {
    MDesyncEventScheduler scheduler(&recorder);
    scheduler.Disable();
    for (int run = 0; run < 2; ++run) {
      scheduler.ScheduleDesyncEvent(Make([this] { done.Set(); }));
      EXPECT_EQ(deleted, run);
      scheduler.Enable();
      EXPECT_THAT([&] { scheduler.Enable(); }, Raises(L"MEngineThread.Start:AlreadyRunning"));
      done.Wait();
      ::ResetEvent(done.Handle());
      scheduler.Disable();
      EXPECT_EQ(deleted, run + 1);
    }
    scheduler.ScheduleDesyncEvent(&queued);
  }
  EXPECT_EQ(deleted, 2);  // what was queued is still the application's
  {
    const TestEvent inside;
    MDesyncEventScheduler scheduler(&recorder);
    scheduler.Enable();
    scheduler.ScheduleDesyncEvent(Make([&] {
      inside.Set();
      done.Wait();
      delivered = true;
    }));
    inside.Wait();
    done.Set();
  }
  EXPECT_TRUE(delivered);
  EXPECT_EQ(deleted, 3);
}

TEST_F(DesyncEventScheduler, DestroyingItWithADeadThreadLogsTheErrorOfDisabling) {
  struct DyingScheduler final : MDesyncEventScheduler {
    using MDesyncEventScheduler::MDesyncEventScheduler;
    void OnSchedulerEvent() override { throw ExceptionOf(L"drain"); }
  };
  Notification queued(deleted, [] { ADD_FAILURE(); });
  const std::vector<LoggedEvent> events = LogDuring([&] {
    DyingScheduler scheduler(&recorder);
    scheduler.Enable();
    scheduler.ScheduleDesyncEvent(&queued);
    recorder.heard.Wait();
  });
  EXPECT_THAT(events, LoggedInOrder(std::vector<std::string>{
                          "Destruction MDesyncEventScheduler.~MDesyncEventScheduler",
                          "Root_error ThreadExitedUnexpectedly MEngineThread.Flush",
                          "Dismissed_error (unknown) MDesyncEventScheduler.~MDesyncEventScheduler",
                          "State_change to Inactive MEngineThread.ChangeState",
                          "Destruction MSchedulerThread.~MSchedulerThread"}));
}

TEST_F(DesyncEventScheduler, DeliversOnceAndInOrderWhatManyThreadsSchedule) {
  constexpr int kProducers = 4;
  const int each = StressRounds(20000);
  MDesyncEventScheduler scheduler(&recorder);
  std::array<int, kProducers> last{};  // by the scheduler's thread alone
  int fired = 0;
  std::vector<std::thread> producers;
  for (std::size_t producer = 0; producer < kProducers; ++producer) {
    producers.emplace_back([&, producer] {
      for (int number = 1; number <= each; ++number) {
        scheduler.ScheduleDesyncEvent(Make([&, producer, number] {
          EXPECT_EQ(last[producer]++, number - 1);
          if (++fired == each * kProducers) {
            done.Set();
          }
        }));
      }
    });
  }
  scheduler.Enable();
  done.Wait();
  for (std::thread& producer : producers) {
    producer.join();
  }
  scheduler.Disable();
  EXPECT_EQ(fired, each * kProducers);
  EXPECT_EQ(deleted, each * kProducers);
}

}  // namespace
