// SPDX-License-Identifier: MIT
// InitializeCriticalSection and its companions.
#include "PlatformKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"

#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

class CriticalSection : public testing::Test {
 protected:
  CriticalSection() { ::InitializeCriticalSection(&section); }
  ~CriticalSection() override { ::DeleteCriticalSection(&section); }

  bool CanAnotherThreadEnter() {
    bool entered = false;
    std::thread([&] {
      entered = ::TryEnterCriticalSection(&section) != FALSE;
      if (entered) {
        ::LeaveCriticalSection(&section);
      }
    }).join();
    return entered;
  }

  const Watchdog watchdog{"a critical section", std::chrono::seconds(250)};
  CRITICAL_SECTION section;
};

TEST_F(CriticalSection, BelongsToItsOwnerUntilLeftAsOftenAsEntered) {
  EXPECT_TRUE(CanAnotherThreadEnter());
  ::EnterCriticalSection(&section);
  EXPECT_TRUE(::TryEnterCriticalSection(&section));
  ::EnterCriticalSection(&section);
  for (int entered = 3; entered > 0; --entered) {
    EXPECT_FALSE(CanAnotherThreadEnter());
    ::LeaveCriticalSection(&section);
  }
  EXPECT_TRUE(CanAnotherThreadEnter());
}

TEST_F(CriticalSection, OneThreadAtATimeUnderContention) {
  constexpr int kThreads = 4;
  const int rounds = StressRounds(400'000);
  long long counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        if (i != 0 || ::TryEnterCriticalSection(&section) == FALSE) {
          ::EnterCriticalSection(&section);
        }
        ++counter;
        ::LeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(counter, static_cast<long long>(kThreads) * rounds);
}

}  // namespace
