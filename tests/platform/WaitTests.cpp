// SPDX-License-Identifier: MIT
// WaitForSingleObject, WaitForMultipleObjects.
#include "PlatformKit.h"
#include "tests/support/Watchdog.h"

#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

/// So many unsignalled events, and their handles in a row.
struct ManyEvents {
  ManyEvents(std::size_t count, Event::Reset reset) {
    for (std::size_t i = 0; i < count; ++i) handles.push_back(events.emplace_back(reset));
  }
  std::deque<Event> events;
  std::vector<HANDLE> handles;
};

DWORD WaitForAny(const std::vector<HANDLE>& handles, DWORD milliseconds) {
  return ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                  milliseconds);
}

TEST(WaitForSingleObject, RefusesWhatIsNoObject) {
  const Outcome refused{WAIT_FAILED, ERROR_INVALID_HANDLE};
  for (const DWORD milliseconds : {DWORD{0}, DWORD{INFINITE}}) {
    EXPECT_EQ(OutcomeOf([&] { return ::WaitForSingleObject(nullptr, milliseconds); }), refused);
    EXPECT_EQ(OutcomeOf([&] { return ::WaitForSingleObject(ClosedHandle(), milliseconds); }),
              refused);
  }
}

TEST(WaitForSingleObject, TimesOutNotBeforeItsTime) {
  const Event event(Event::kAutomatic);
  constexpr double kTick = 1;  // the platform's clocks may differ by one
  for (const DWORD milliseconds : {DWORD{1}, DWORD{30}}) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(OutcomeOf([&] { return ::WaitForSingleObject(event, milliseconds); }),
              (Outcome{WAIT_TIMEOUT, kUntouched}));
    const Milliseconds elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed.count(), static_cast<double>(milliseconds) - kTick);
  }
}

TEST(WaitForMultipleObjects, TakesOneToSixtyFourHandles) {
  ManyEvents many(MAXIMUM_WAIT_OBJECTS, Event::kAutomatic);
  ::SetEvent(many.handles[63]);
  EXPECT_EQ(WaitForAny(many.handles, INFINITE), 63U);
  EXPECT_EQ(WaitForAny(many.handles, 0), DWORD{WAIT_TIMEOUT});

  const Outcome refused{WAIT_FAILED, ERROR_INVALID_PARAMETER};
  EXPECT_EQ(OutcomeOf([&] { return ::WaitForMultipleObjects(0, many.handles.data(), FALSE, 0); }),
            refused);
  many.handles.push_back(many.handles[0]);
  EXPECT_EQ(OutcomeOf([&] { return WaitForAny(many.handles, 0); }), refused);
}

TEST(WaitForMultipleObjects, TheLowestSignalledIndexWinsAndTheOthersStay) {
  for (const Event::Reset reset : {Event::kManual, Event::kAutomatic}) {
    const ManyEvents many(5, reset);
    ::SetEvent(many.handles[4]);
    ::SetEvent(many.handles[2]);
    EXPECT_EQ(WaitForAny(many.handles, INFINITE), 2U);
    ::ResetEvent(many.handles[2]);
    EXPECT_EQ(WaitForAny(many.handles, 1000), 4U);
    EXPECT_EQ(IsSignalled(many.handles[4]), reset == Event::kManual);
  }
}

TEST(WaitForMultipleObjects, OneHandleThatIsNoneRefusesTheWaitAndTakesNothing) {
  const Event signalled(Event::kAutomatic, true);
  for (const HANDLE bad : {HANDLE{nullptr}, ClosedHandle()}) {
    EXPECT_EQ(OutcomeOf([&] { return WaitForAny({signalled, bad}, INFINITE); }),
              (Outcome{WAIT_FAILED, ERROR_INVALID_HANDLE}));
  }
  EXPECT_TRUE(IsSignalled(signalled));
}

TEST(WaitForMultipleObjects, TheSameHandleTwiceIsTolerated) {
  const Watchdog watchdog("a wait with one handle twice");
  const Event event(Event::kAutomatic);
  const Event other(Event::kAutomatic);
  EXPECT_EQ(WaitForAny({event, event}, 1), DWORD{WAIT_TIMEOUT});
  std::thread setter([&] { ::SetEvent(event); });
  EXPECT_LT(WaitForAny({other, event, event}, INFINITE), 3U);
  setter.join();
  EXPECT_FALSE(IsSignalled(event));
}

TEST(Waits, ASetFromAnotherThreadEndsThemAndShowsWhatItDidBefore) {
  const Watchdog watchdog("a blocked wait");
  for (int round = 0; round < 200; ++round) {
    const ManyEvents many(64, Event::kManual);
    const auto chosen = static_cast<std::size_t>(round % 64);
    int plain = 0;
    std::thread setter([&] {
      plain = round + 1;
      ::SetEvent(many.handles[chosen]);
    });
    EXPECT_EQ(WaitForAny(many.handles, INFINITE), chosen);
    EXPECT_EQ(plain, round + 1);
    setter.join();
  }
}

TEST(Waits, AManualEventReleasesAllAnAutomaticOneExactlyOne) {
  const Watchdog watchdog("several waiters on one event");
  constexpr int kWaiters = 40;  // more than are woken in one go
  const Event manual(Event::kManual);
  const Event automatic(Event::kAutomatic);
  const Event reached(Event::kAutomatic);
  std::atomic<int> taken{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i) {
    waiters.emplace_back([&] {
      EXPECT_EQ(::WaitForSingleObject(manual, INFINITE), DWORD{WAIT_OBJECT_0});
      EXPECT_EQ(::WaitForSingleObject(automatic, INFINITE), DWORD{WAIT_OBJECT_0});
      ++taken;
      ::SetEvent(reached);
    });
  }
  ::SetEvent(manual);
  for (int i = 0; i < kWaiters; ++i) {
    EXPECT_EQ(taken.load(), i);
    ::SetEvent(automatic);
    ::WaitForSingleObject(reached, INFINITE);
  }
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(taken.load(), kWaiters);
}

}  // namespace
