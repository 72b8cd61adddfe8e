// SPDX-License-Identifier: MIT
// Events and waits against a model, and under load from several threads.
#include "PlatformKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

unsigned Seed() {
  static const unsigned seed = std::random_device{}();
  return seed;
}

/// What one thread expects of an event.
struct ModelEvent {
  HANDLE handle = nullptr;
  bool manual = false;
  bool signalled = false;
  bool open = false;
};

/// The index that a wait for any returns, with its effect.
DWORD ModelWait(std::vector<ModelEvent*>& events) {
  const bool allOpen = std::all_of(events.begin(), events.end(), [](auto* e) { return e->open; });
  if (!allOpen) {
    return WAIT_FAILED;
  }
  for (std::size_t i = 0; i < events.size(); ++i) {
    if (!events[i]->signalled) {
      continue;
    }
    events[i]->signalled = events[i]->manual;
    return static_cast<DWORD>(i);
  }
  return WAIT_TIMEOUT;
}

TEST(WaitStress, AnySequenceOfCallsBehavesAsTheModel) {
  SCOPED_TRACE(testing::Message() << "seed " << Seed());
  std::mt19937 random(Seed());
  const auto below = [&](std::size_t end) { return std::size_t{random()} % end; };
  std::array<ModelEvent, 7> events;
  for (int step = 0; step < StressRounds(1'000'000); ++step) {
    ModelEvent& event = events[below(events.size())];
    switch (below(8)) {
      case 0:  // a closed event stays a while, so that its handle is used when it should not be
        if (event.open) {
          ASSERT_EQ(::CloseHandle(event.handle), TRUE) << "step " << step;
          event.open = false;
          break;
        }
        event = {nullptr, below(2) == 0, below(2) == 0, true};
        event.handle = ::CreateEventW(nullptr, event.manual, event.signalled, nullptr);
        ASSERT_NE(event.handle, nullptr) << "step " << step;
        // The platform may give a closed handle out again.
        for (ModelEvent& other : events) {
          if (&other != &event && other.handle == event.handle) {
            other = {};
          }
        }
        break;
      case 1:
      case 2:
        ASSERT_EQ(::SetEvent(event.handle), event.open ? TRUE : FALSE) << "step " << step;
        event.signalled = true;
        break;
      case 3:
        ASSERT_EQ(::ResetEvent(event.handle), event.open ? TRUE : FALSE) << "step " << step;
        event.signalled = false;
        break;
      case 4: {
        std::vector<ModelEvent*> one{&event};
        ASSERT_EQ(::WaitForSingleObject(event.handle, 0), ModelWait(one)) << "step " << step;
        break;
      }
      default: {
        std::vector<ModelEvent*> some;
        for (ModelEvent& candidate : events) {
          if (below(8) < (candidate.open ? 4U : 1U)) {
            some.push_back(&candidate);
          }
        }
        if (some.empty()) {
          some.push_back(&event);
        }
        std::shuffle(some.begin(), some.end(), random);
        std::vector<HANDLE> handles;
        for (const ModelEvent* chosen : some) {
          handles.push_back(chosen->handle);
        }
        ASSERT_EQ(
            ::WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, 0),
            ModelWait(some))
            << "step " << step;
      }
    }
  }
  for (const ModelEvent& event : events) {
    if (event.open) {
      ::CloseHandle(event.handle);
    }
  }
}

// Each event is a token that one thread at a time may hold: a signal that gets lost, or that two
// waits take, shows at once. The short time-outs race with the sets.
TEST(WaitStress, AutomaticSignalsAreNeitherLostNorDoubled) {
  SCOPED_TRACE(testing::Message() << "seed " << Seed());
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
    threads.emplace_back(pass, Seed() + i);
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

}  // namespace
