// SPDX-License-Identifier: MIT
// InitializeCriticalSection and its companions.
#include "PlatformKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

class Section {
 public:
  Section() { ::InitializeCriticalSection(&section_); }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;
  ~Section() { ::DeleteCriticalSection(&section_); }

  void Enter() { ::EnterCriticalSection(&section_); }
  bool TryEnter() { return ::TryEnterCriticalSection(&section_) != FALSE; }
  void Leave() { ::LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
};

bool CanAnotherThreadEnter(Section& section) {
  bool entered = false;
  std::thread([&] {
    entered = section.TryEnter();
    if (entered) {
      section.Leave();
    }
  }).join();
  return entered;
}

TEST(CriticalSection, BelongsToItsOwnerUntilLeftAsOftenAsEntered) {
  Section section;
  EXPECT_TRUE(CanAnotherThreadEnter(section));
  section.Enter();
  EXPECT_TRUE(section.TryEnter());
  section.Enter();
  for (int entered = 3; entered > 0; --entered) {
    EXPECT_FALSE(CanAnotherThreadEnter(section));
    section.Leave();
  }
  EXPECT_TRUE(CanAnotherThreadEnter(section));
}

TEST(CriticalSection, OneThreadAtATimeUnderContention) {
  const Watchdog watchdog("four threads in one critical section", std::chrono::seconds(250));
  constexpr int kThreads = 4;
  const int rounds = StressRounds(400'000);
  Section section;
  long long counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < rounds; ++round) {
        if (i == 0 && !section.TryEnter()) {
          section.Enter();
        }
        if (i != 0) {
          section.Enter();
        }
        ++counter;
        section.Leave();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(counter, static_cast<long long>(kThreads) * rounds);
}

}  // namespace
