// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "tests/support/Watchdog.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr int kThreads = 4;

// How many events a thread may log in a round: one that is held up between claiming a slot and
// filling it must not be overtaken by the whole ring.
constexpr std::int32_t kShare = static_cast<std::int32_t>(KLogger::kCapacity) / kThreads / 4;

// An event whose fields depend on each other, so that a mixture of two shows.
std::uint64_t Mixed(std::int32_t thread, std::int32_t number) {
  std::uint64_t x = static_cast<std::uint64_t>(thread) << 32U | static_cast<std::uint32_t>(number);
  x = (x ^ x >> 30U) * 0xBF58476D1CE4E5B9U;
  return x ^ x >> 27U;
}

bool IsWhole(const LoggedEvent& event) {
  const std::uint64_t mixed = Mixed(event.value1, event.value2);
  return event.code == -7 && event.classKey == static_cast<std::int32_t>(mixed) &&
         event.pointKey == static_cast<std::int32_t>(mixed >> 32U) && event.object == ~mixed &&
         event.threadId != 0;
}

// Four threads that log and register names, in every table that a dump reads.
class Writers {
 public:
  explicit Writers(KLogger& log) : log_(log) {
    for (int t = 0; t < kThreads; ++t) {
      threads_.emplace_back([this, t] { Run(t); });
    }
  }
  Writers(const Writers&) = delete;
  Writers& operator=(const Writers&) = delete;

  // Lets the threads use up their shares.
  ~Writers() {
    stop_.store(true);
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }

  void StartRound() { round_.fetch_add(1); }

  // Returns once every thread has finished what it was doing when this was called.
  void AwaitAll() const {
    std::array<std::uint64_t, kThreads> before{};
    for (std::size_t t = 0; t < kThreads; ++t) {
      before[t] = laps_[t].load();
    }
    for (std::size_t t = 0; t < kThreads; ++t) {
      while (laps_[t].load() == before[t]) {
        std::this_thread::yield();
      }
    }
  }

 private:
  void Run(std::int32_t t) {
    int myRound = 0;
    std::int32_t left = 0;
    std::int32_t number = 0;
    for (bool stops = false; !stops || left > 0; laps_[static_cast<std::size_t>(t)].fetch_add(1)) {
      stops = stop_.load();
      if (const int now = round_.load(); now != myRound) {
        myRound = now;
        left = kShare;
      }
      if (left > 0) {
        --left;
        Log(t, number++);
      } else {
        std::this_thread::yield();
      }
    }
  }

  void Log(std::int32_t thread, std::int32_t number) {
    const std::uint64_t mixed = Mixed(thread, number);
    KLogger::Write(&log_, -7, thread, number, static_cast<std::int32_t>(mixed),
                   static_cast<std::int32_t>(mixed >> 32U), Address(~mixed));
    if (number % 64 == 0) {
      KLogger::RegisterName(&log_, number, "name " + std::to_string(number));
      KLogger::RegisterStateName(&log_, 1, number, "state");
      KLogger::RegisterObjectName(&log_, Address(static_cast<std::uint64_t>(number)), "object");
      KLogger::RegisterThreadName(&log_, static_cast<std::uint32_t>(number), "thread");
    }
  }

  KLogger& log_;
  std::atomic<bool> stop_{false};
  std::atomic<int> round_{0};
  std::array<std::atomic<std::uint64_t>, kThreads> laps_{};
  std::vector<std::thread> threads_;
};

// Lets the dump begin only when no writer still fills a slot that it claimed before: the dump's own
// pause makes that likely, a test needs it certain. The header comes when the log is disabled.
class AwaitingBuffer : public std::stringbuf {
 public:
  explicit AwaitingBuffer(const Writers& awaited) : writers_(&awaited) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    if (writers_ != nullptr) {
      writers_->AwaitAll();
    }
    writers_ = nullptr;
    return std::stringbuf::xsputn(text, length);
  }

 private:
  const Writers* writers_;
};

TEST(KLoggerConcurrency, WhatFourThreadsLogAndRegisterIsDumpedWholeOnceAndInOrder) {
  const Watchdog watchdog("dumps while four threads log", std::chrono::seconds(120));
  KLogger log;
  std::array<std::int32_t, kThreads> next{};
  {
    Writers writers(log);
    for (int round = 0; round < 5; ++round) {
      writers.StartRound();
      writers.AwaitAll();
      AwaitingBuffer buffer(writers);
      std::ostream stream(&buffer);

      KLogger::Dump(&log, stream);

      for (const LoggedEvent& event : LogReader::Events(buffer.str())) {
        ASSERT_TRUE(IsWhole(event)) << testing::PrintToString(event);
        auto& expected = next.at(static_cast<std::size_t>(event.value1));
        ASSERT_GE(event.value2, expected);  // events of the time of a dump are missing
        expected = event.value2 + 1;
      }
    }
    writers.StartRound();
  }

  const std::vector<LoggedEvent> events = DumpEvents(log);

  ASSERT_GE(events.size(), std::size_t{kThreads} * kShare);
  std::array<bool, kThreads> hasBegun{};
  for (const LoggedEvent& event : events) {
    ASSERT_TRUE(IsWhole(event)) << testing::PrintToString(event);
    const auto thread = static_cast<std::size_t>(event.value1);
    ASSERT_TRUE(hasBegun.at(thread) ? event.value2 == next[thread] : event.value2 >= next[thread])
        << "lost or logged twice";
    hasBegun[thread] = true;
    next[thread] = event.value2 + 1;
  }
  EXPECT_EQ(KLoggerProbe::Counter(log), 1U);
}

}  // namespace
