// SPDX-License-Identifier: MIT
// What this implementation promises beyond the platform that it imitates, and what it refuses.
#include "../PlatformKit.h"
#include "tests/support/Watchdog.h"
#include "velta/platform/internal/DeferredWakeUps.h"
#include "velta/platform/posix/ObjectTable.h"

#include <atomic>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

namespace {

TEST(PosixHandles, ThousandsAreOpenAtOnceAndLookLikeHandles) {
  std::set<HANDLE> handles;
  for (std::uint32_t i = 0; i < Velta::Posix::kObjectsPerChunk + 100; ++i) {
    const HANDLE handle = ::CreateEventW(nullptr, TRUE, i % 2 == 0, nullptr);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(handle) % 4, 0U);
    EXPECT_EQ(IsSignalled(handle), i % 2 == 0);
    EXPECT_TRUE(handles.insert(handle).second);
  }
  for (const HANDLE handle : handles) {
    EXPECT_EQ(::CloseHandle(handle), TRUE);
  }
  for (const HANDLE handle : handles) {
    ASSERT_EQ(OutcomeOf([&] { return ::SetEvent(handle); }),
              (Outcome{FALSE, ERROR_INVALID_HANDLE}));
  }
}

TEST(PosixHandles, AnyBitPatternIsRefusedWithoutBeingFollowed) {
  int local = 0;
  const Event event(Event::kManual);
  const auto value = reinterpret_cast<std::uintptr_t>(static_cast<HANDLE>(event));
  const auto address = reinterpret_cast<std::uintptr_t>(&local);
  const std::uintptr_t patterns[] = {1,       4,         ~std::uintptr_t{0}, ~std::uintptr_t{3},
                                     address, value + 1, value + 4,          value ^ 1ULL << 63};
  for (const std::uintptr_t pattern : patterns) {
    const auto handle = reinterpret_cast<HANDLE>(pattern);
    EXPECT_EQ(OutcomeOf([&] { return ::CloseHandle(handle); }),
              (Outcome{FALSE, ERROR_INVALID_HANDLE}));
    EXPECT_EQ(OutcomeOf([&] { return ::WaitForSingleObject(handle, 0); }),
              (Outcome{WAIT_FAILED, ERROR_INVALID_HANDLE}));
  }
}

TEST(PosixWakes, ASetInsideASectionWakesAtOnceADeferredOneWhenItsScopeEnds) {
  const Watchdog watchdog("threads woken out of a critical section");
  constexpr int kSleepers = 40;  // more than one list of deferred wake-ups holds
  CRITICAL_SECTION section;
  ::InitializeCriticalSection(&section);
  for (int round = 0; round < 50; ++round) {
    const Event go(Event::kManual);
    std::atomic<int> ready{0};
    std::vector<std::thread> sleepers;
    for (int i = 0; i < kSleepers; ++i) {
      sleepers.emplace_back([&] {
        ++ready;
        ::WaitForSingleObject(go, INFINITE);
      });
    }
    while (ready < kSleepers) {  // most sleep by then
      std::this_thread::yield();
    }
    ::EnterCriticalSection(&section);
    if (round % 2 == 0) {
      Velta::Platform::DeferredWakeUps().SetEvent(go);
    } else {
      ::SetEvent(go);
    }
    for (std::thread& sleeper : sleepers) {
      sleeper.join();
    }
    ::LeaveCriticalSection(&section);
  }
  ::DeleteCriticalSection(&section);
}

// The thread sanitizer keeps a signal back until the next call that it knows.
#if !defined(__SANITIZE_THREAD__)
// The host's signals are none of a wait's business. That each meets the thread asleep is likely
// only; nothing else hangs on it.
TEST(PosixWakes, ASignalDoesNotEndAWait) {
  const Watchdog watchdog("a wait that is interrupted");
  static std::atomic<int> handled{0};
  struct sigaction action = {};
  action.sa_handler = [](int) { ++handled; };  // without SA_RESTART: the system call fails
  struct sigaction previous = {};
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
  const Event release(Event::kManual);
  DWORD result = WAIT_FAILED;
  std::thread waiting([&] { result = ::WaitForSingleObject(release, INFINITE); });
  for (int sent = 1; sent <= 20; ++sent) {
    ASSERT_EQ(::pthread_kill(waiting.native_handle(), SIGUSR1), 0);
    while (handled < sent) {
      std::this_thread::yield();
    }
  }
  ::SetEvent(release);
  waiting.join();
  EXPECT_EQ(result, DWORD{WAIT_OBJECT_0});
  ::sigaction(SIGUSR1, &previous, nullptr);
}
#endif

TEST(PosixThreadsDeathTest, AForkedChildHasItsOwnId) {
  const DWORD parent = ::GetCurrentThreadId();
  EXPECT_EXIT(::_exit(::GetCurrentThreadId() == static_cast<DWORD>(::getpid()) ? 0 : 1),
              testing::ExitedWithCode(0), "");
  EXPECT_EQ(::GetCurrentThreadId(), parent);
}

TEST(PosixThreadsDeathTest, AnExceptionThatLeavesTheEntryEndsTheProcess) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const auto run = [](void*) -> unsigned { throw std::runtime_error("nobody catches this"); };
  EXPECT_DEATH(
      {
        const auto thread =
            reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, run, nullptr, 0, nullptr));
        ::WaitForSingleObject(thread, INFINITE);
      },
      "nobody catches this");
}

}  // namespace
