// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "tests/support/Watchdog.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <streambuf>
#include <thread>

#include <gtest/gtest.h>

namespace {

constexpr int kThreads = 4;

// An event whose fields depend on each other, so that a mixture of two shows.
std::uint64_t Mixed(std::int32_t thread, std::int32_t number) {
  std::uint64_t x = static_cast<std::uint64_t>(thread) << 32U | static_cast<std::uint32_t>(number);
  x = (x ^ x >> 30U) * 0xBF58476D1CE4E5B9U;
  return x ^ x >> 27U;
}

void WriteChecked(KLogger& log, std::int32_t thread, std::int32_t number) {
  const std::uint64_t mixed = Mixed(thread, number);
  KLogger::Write(&log, -7, thread, number, static_cast<std::int32_t>(mixed),
                 static_cast<std::int32_t>(mixed >> 32U), Address(~mixed));
}

// In every table that a dump reads.
void RegisterNames(KLogger& log, std::int32_t key) {
  KLogger::RegisterName(&log, key, "name " + std::to_string(key));
  KLogger::RegisterStateName(&log, 1, key, "state");
  KLogger::RegisterObjectName(&log, Address(static_cast<std::uint64_t>(key)), "object");
  KLogger::RegisterThreadName(&log, static_cast<std::uint32_t>(key), "thread");
}

bool IsWhole(const LoggedEvent& event) {
  const std::uint64_t mixed = Mixed(event.value1, event.value2);
  return event.code == -7 && event.classKey == static_cast<std::int32_t>(mixed) &&
         event.pointKey == static_cast<std::int32_t>(mixed >> 32U) && event.object == ~mixed &&
         event.threadId != 0;
}

TEST(KLoggerConcurrency, NoEventIsTornLostOrDuplicated) {
  constexpr std::int32_t kEvents = static_cast<std::int32_t>(KLogger::kCapacity) / kThreads;
  KLogger log;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&log, t] {
      for (std::int32_t i = 0; i < kEvents; ++i) {
        WriteChecked(log, t, i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  const std::vector<LoggedEvent> events = DumpEvents(log);

  ASSERT_EQ(events.size(), KLogger::kCapacity);
  std::array<std::int32_t, kThreads> next{};
  for (const LoggedEvent& event : events) {
    ASSERT_TRUE(IsWhole(event));
    ASSERT_EQ(event.value2, next.at(static_cast<std::size_t>(event.value1))++);
  }
}

// Four threads that log and register names without end, each at most `kShare` events per round: a
// thread that is held up between claiming a slot and filling it must not be overtaken by the whole
// ring.
class Writers {
 public:
  explicit Writers(KLogger& log) {
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([this, &log, t] { Run(log, t); });
    }
  }
  ~Writers() {
    stop.store(true);
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  void StartRound() { round.fetch_add(1); }

  // Returns once every thread has finished what it was doing when this was called.
  void AwaitAll() const {
    std::array<std::uint64_t, kThreads> before{};
    for (std::size_t t = 0; t < kThreads; ++t) {
      before[t] = laps[t].load();
    }
    for (std::size_t t = 0; t < kThreads; ++t) {
      while (laps[t].load() == before[t]) {
        std::this_thread::yield();
      }
    }
  }

 private:
  static constexpr std::int32_t kShare =
      static_cast<std::int32_t>(KLogger::kCapacity) / kThreads / 4;

  void Run(KLogger& log, int t) {
    int myRound = 0;
    std::int32_t left = 0;
    for (std::int32_t number = 0; !stop.load(); laps[static_cast<std::size_t>(t)].fetch_add(1)) {
      if (const int now = round.load(); now != myRound) {
        myRound = now;
        left = kShare;
      }
      if (left > 0) {
        --left;
        WriteChecked(log, t, number++);
        if (number % 64 == 0) {
          RegisterNames(log, number);
        }
      } else {
        std::this_thread::yield();
      }
    }
  }

  std::atomic<bool> stop{false};
  std::atomic<int> round{0};
  std::array<std::atomic<std::uint64_t>, kThreads> laps{};
  std::vector<std::thread> threads;
};

// Lets the dump begin only when no writer still fills a slot that it claimed before: the dump's own
// pause makes that likely, a test needs it certain. The header comes when the log is disabled.
class AwaitingBuffer : public std::stringbuf {
 public:
  explicit AwaitingBuffer(const Writers& awaited) : writers(awaited) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    if (!begun) {
      writers.AwaitAll();
    }
    begun = true;
    return std::stringbuf::xsputn(text, length);
  }

 private:
  const Writers& writers;
  bool begun = false;
};

TEST(KLoggerConcurrency, DumpsWhileFourThreadsLogAndRegisterShowWholeEventsOnceInOrder) {
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
  }
  EXPECT_TRUE(std::ranges::all_of(next, [](std::int32_t n) { return n > 0; }));
  DumpText(log);
  EXPECT_EQ(KLoggerProbe::Counter(log), 1U);
}

}  // namespace
