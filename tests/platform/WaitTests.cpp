// SPDX-License-Identifier: MIT
// CreateEventW, SetEvent, ResetEvent, CloseHandle, and the three waits. Over POSIX, what any calls
// at once do is in the simulation.
#include "PlatformKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <random>
#include <ratio>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

/// So many unsignalled events, and their handles in a row.
struct ManyEvents {
  ManyEvents(std::size_t count, Event::Reset reset) {
    for (std::size_t i = 0; i < count; ++i) {
      handles.push_back(events.emplace_back(reset));
    }
  }
  std::deque<Event> events;
  std::vector<HANDLE> handles;
};

DWORD WaitForAny(const std::vector<HANDLE>& handles, DWORD milliseconds) {
  return ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE,
                                  milliseconds);
}

DWORD WaitForAnyOrInput(const std::vector<HANDLE>& handles, DWORD milliseconds) {
  return ::MsgWaitForMultipleObjectsEx(static_cast<DWORD>(handles.size()), handles.data(),
                                       milliseconds, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
}

TEST(Events, SuccessLeavesTheLastErrorAloneExceptWhereOneIsMade) {
  ::SetLastError(kUntouched);
  const Event event(Event::kManual);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(OutcomeOf([&] { return ::SetEvent(event); }), (Outcome{TRUE, kUntouched}));
  EXPECT_EQ(OutcomeOf([&] { return ::ResetEvent(event); }), (Outcome{TRUE, kUntouched}));
}

TEST(Events, WhatIsNoHandleIsRefusedByEveryCallAndTakesNothing) {
  const Outcome refused{FALSE, ERROR_INVALID_HANDLE};
  const Outcome failed{WAIT_FAILED, ERROR_INVALID_HANDLE};
  const Event signalled(Event::kAutomatic, true);
  const HANDLE garbage = reinterpret_cast<HANDLE>(std::uintptr_t{0x00ABCDE0});
  EXPECT_EQ(WaitForAnyOrInput({}, 0), DWORD{WAIT_TIMEOUT});  // a thread's first opens a handle
  for (const HANDLE handle : {HANDLE{nullptr}, ClosedHandle(), garbage}) {
    EXPECT_EQ(OutcomeOf([&] { return ::SetEvent(handle); }), refused);
    EXPECT_EQ(OutcomeOf([&] { return ::ResetEvent(handle); }), refused);
    EXPECT_EQ(OutcomeOf([&] { return ::CloseHandle(handle); }), refused);
    EXPECT_EQ(OutcomeOf([&] { return ::WaitForSingleObject(handle, 0); }), failed);
    EXPECT_EQ(OutcomeOf([&] { return ::WaitForSingleObject(handle, INFINITE); }), failed);
    EXPECT_EQ(OutcomeOf([&] { return WaitForAny({signalled, handle}, INFINITE); }), failed);
    EXPECT_EQ(OutcomeOf([&] { return WaitForAnyOrInput({signalled, handle}, INFINITE); }), failed);
  }
  EXPECT_TRUE(IsSignalled(signalled));
}

TEST(Waits, TimeOutNotBeforeTheirTime) {
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

TEST(Waits, TakeUpToSixtyFourHandlesOrOneFewerAndInput) {
  const Outcome refused{WAIT_FAILED, ERROR_INVALID_PARAMETER};
  EXPECT_EQ(OutcomeOf([] { return WaitForAny({}, 0); }), refused);
  EXPECT_EQ(WaitForAnyOrInput({}, 1), DWORD{WAIT_TIMEOUT});
  for (const auto& [wait, most] : {std::pair(&WaitForAny, std::size_t{MAXIMUM_WAIT_OBJECTS}),
                                   std::pair(&WaitForAnyOrInput, std::size_t{63})}) {
    ManyEvents many(most, Event::kAutomatic);
    ::SetEvent(many.handles.back());
    EXPECT_EQ(wait(many.handles, 1000), most - 1);
    EXPECT_EQ(wait(many.handles, 1), DWORD{WAIT_TIMEOUT});
    many.handles.push_back(many.handles[0]);
    ::SetLastError(kUntouched);
    EXPECT_EQ(wait(many.handles, 0), DWORD{WAIT_FAILED});
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  }
}

TEST(Waits, GiveTheLowestSignalledIndexAndResetAnAutomaticEvent) {
  for (const auto wait : {&WaitForAny, &WaitForAnyOrInput}) {
    const Event first(Event::kAutomatic, true);
    const Event second(Event::kManual, true);
    const Event third(Event::kAutomatic, true);
    const std::vector<HANDLE> handles{first, second, third};
    EXPECT_EQ(wait(handles, INFINITE), 0U);
    EXPECT_EQ(wait(handles, INFINITE), 1U);
    EXPECT_EQ(wait(handles, INFINITE), 1U);
    ::ResetEvent(second);
    EXPECT_EQ(wait(handles, 0), 2U);
    EXPECT_EQ(wait(handles, 0), DWORD{WAIT_TIMEOUT});
  }
}

TEST(Waits, ASetFromAnotherThreadEndsThemAndShowsWhatItDidBefore) {
  const Watchdog watchdog("a blocked wait");
  for (int round = 0; round < 200; ++round) {
    const ManyEvents many(63, Event::kManual);
    const auto chosen = static_cast<std::size_t>(round % 63);
    int plain = 0;
    std::thread setter([&] {
      plain = round + 1;
      ::SetEvent(many.handles[chosen]);
    });
    const auto wait = round % 2 == 0 ? WaitForAny : WaitForAnyOrInput;
    EXPECT_EQ(wait(many.handles, INFINITE), chosen);
    EXPECT_EQ(plain, round + 1);
    setter.join();
  }
}

// Each event is a token that one thread at a time may hold: a signal that gets lost, or that two
// waits take, shows at once. The short time-outs race with the sets.
TEST(Waits, AutomaticSignalsAreNeitherLostNorDoubled) {
  const Watchdog watchdog("tokens passed around by waits", std::chrono::seconds(250));
  constexpr std::size_t kTokens = 3;
  constexpr int kThreads = 4;
  std::array<HANDLE, kTokens> tokens;
  for (HANDLE& token : tokens) {
    token = ::CreateEventW(nullptr, FALSE, TRUE, nullptr);
  }
  std::array<std::atomic<bool>, kTokens> held{};
  std::atomic<int> remaining{StressRounds(1'000'000)};
  const auto pass = [&](unsigned seed) {
    std::mt19937 random(seed);
    std::array<DWORD, kTokens> order{0, 1, 2};
    while (remaining.fetch_sub(1) > 0) {
      std::shuffle(order.begin(), order.end(), random);
      std::array<HANDLE, kTokens> shuffled;
      for (std::size_t i = 0; i < kTokens; ++i) {
        shuffled[i] = tokens[order[i]];
      }
      const auto count = static_cast<DWORD>(1 + random() % kTokens);
      const DWORD milliseconds = std::array<DWORD, 3>{0, 1, INFINITE}[random() % 3];
      const DWORD result =
          count == 1 ? ::WaitForSingleObject(shuffled[0], milliseconds)
                     : ::WaitForMultipleObjects(count, shuffled.data(), FALSE, milliseconds);
      if (result == WAIT_TIMEOUT && milliseconds != INFINITE) {
        continue;
      }
      ASSERT_LT(result, count);
      const DWORD token = order[result];
      ASSERT_FALSE(held[token].exchange(true, std::memory_order_relaxed));
      if (random() % 16 == 0) {
        std::this_thread::yield();  // lets the others run into the gap
      }
      held[token].store(false, std::memory_order_relaxed);
      ASSERT_EQ(::SetEvent(tokens[token]), TRUE);
    }
  };
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back(pass, i);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const HANDLE token : tokens) {
    EXPECT_TRUE(IsSignalled(token));
    EXPECT_FALSE(IsSignalled(token));
    ::CloseHandle(token);
  }
}

#if defined(_WIN32)
TEST(Waits, InputComesAfterEveryHandleAndStaysUntilPumped) {
  const Event event(Event::kAutomatic);
  MSG message;
  ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // makes the thread's queue
  ::PostThreadMessageW(::GetCurrentThreadId(), WM_APP, 0, 0);
  EXPECT_EQ(WaitForAnyOrInput({event}, INFINITE), 1U);
  EXPECT_EQ(WaitForAnyOrInput({event}, INFINITE), 1U);
  ::SetEvent(event);
  EXPECT_EQ(WaitForAnyOrInput({event}, INFINITE), 0U);
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
  }
  EXPECT_EQ(WaitForAnyOrInput({event}, 1), DWORD{WAIT_TIMEOUT});
}
#endif

}  // namespace
