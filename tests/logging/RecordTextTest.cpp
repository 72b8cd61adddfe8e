// SPDX-License-Identifier: MIT
// The names that are registered, and the text of a record that shows them.
#include "KLoggerProbe.h"
#include "tests/support/Watchdog.h"

#include <cstdint>
#include <limits>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr std::int32_t kMinInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMaxInt32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMinInt64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMaxInt64 = std::numeric_limits<std::int64_t>::max();

// One name of each kind.
void Register(KLogger* log, std::int32_t key, const char* name) {
  const auto bits = static_cast<std::uint32_t>(key);
  KLogger::RegisterName(log, key, name);
  KLogger::RegisterStateName(log, 1, key, name);
  KLogger::RegisterMessageName(log, key, name);
  KLogger::RegisterObjectName(log, Address(0xFFFFFFFF00000000 + bits), name);
  KLogger::RegisterThreadName(log, 0 - bits, name);
}

TEST(KLoggerNames, TheFirstOfAKeyStaysAlsoWhenLogsAreMerged) {
  KLogger from;
  KLogger into;
  Register(&into, 1, "own");
  Register(&into, 1, "second");
  KLogger::RegisterMessageName(&into, 101, "third");  // states and messages share a table
  Register(&from, 1, "merged");
  Register(&from, 2, "merged");

  from.MergeNamesInto(&into);
  from.MergeNamesInto(nullptr);
  from.MergeNamesInto(&from);
  Register(nullptr, 3, "of no log");

  EXPECT_THAT(KLoggerProbe::Names(into), ElementsAre(Pair(1, "own"), Pair(2, "merged")));
  EXPECT_THAT(KLoggerProbe::States(into), ElementsAre(Pair(1, "own"), Pair(2, "merged"),
                                                      Pair(101, "own"), Pair(102, "merged")));
  EXPECT_THAT(KLoggerProbe::Objects(into),
              ElementsAre(Pair(0xFFFFFFFF00000001, "own"), Pair(0xFFFFFFFF00000002, "merged")));
  EXPECT_THAT(KLoggerProbe::Threads(into), ElementsAre(Pair(-2, "merged"), Pair(-1, "own")));
  EXPECT_THAT(KLoggerProbe::Names(from), ElementsAre(Pair(1, "merged"), Pair(2, "merged")));
  EXPECT_FALSE(KLoggerProbe::Names(*KLogger::Instance()).contains(3));
}

TEST(KGuardedLock, IsIgnoredWhileNotInitialised) {
  const Watchdog watchdog("a lock that is not initialised");
  KGuardedLock lock;
  lock.Enter();
  KLoggerProbe::Initialised(lock) = false;
  std::thread([&] {
    lock.Enter();  // would wait
    lock.Leave();
  }).join();
  KLoggerProbe::Initialised(lock) = true;
  lock.Leave();
}

TEST(KLoggerText, EveryFormOfARecord) {
  KLogger log;
  KLoggerProbe::SetClock(log, 1000000, 0, 0, 0);
  KLogger::RegisterName(&log, 7, "MJob");
  KLogger::RegisterName(&log, 8, "Run");
  KLogger::RegisterStateName(&log, 7, 2, "Running");
  KLogger::RegisterStateName(&log, kMinInt32 + 3, -50, "Wrapped");
  KLogger::RegisterObjectName(&log, Address(0x21D5C0A1230), "The job");
  KLogger::RegisterThreadName(&log, 4711, "Worker");
  KLogger::RegisterThreadName(&log, 0xFFFFFFFE, "Far");
  const struct {
    KLogRecord record;
    const char* text;
  } table[] = {
      // Named throughout.
      {{4213, -25, 2, 0, 7, 8, 0x21D5C0A1230, 4711},
       "% State_change to Running in_class MJob at Run for_object 0000021D5C0A1230 (The job)"
       " in_thread 4711 (Worker)\n    0.004213, -25, 2, 0, 7, 8, 2325121471024, 4711"},
      // Hardly named, the numbers' ends: all print as signed, the pointer in sixteen digits.
      {{-1, -13, -1, kMaxInt32, -2, kMinInt32, 0xFFFFFFFFFFFFFFFE, 0xFFFFFFFE},
       "% Destruction in_class (unknown) at (unknown) for_object FFFFFFFFFFFFFFFE (unknown)"
       " in_thread -2 (Far)\n    -0.000001, -13, -1, 2147483647, -2, -2147483648, -2, -2"},
      // A thread id of zero is not shown in the first line; a state's key wraps in 32 bits.
      {{0, -25, -50, 0, kMinInt32 + 3, 8, 0xA, 0},
       "% State_change to Wrapped in_class (unknown) at Run for_object 000000000000000A (unknown)\n"
       "    0.000000, -25, -50, 0, -2147483645, 8, 10, 0"},
      // Both timing points: only code 0 shows its values and a number for an unknown point.
      {{0, 0, 0, 0, 7, -80, 1, 0},
       "% Timing_point (0, 0) in_class MJob at_point -80 for_object 0000000000000001 (unknown)\n"
       "    0.000000, 0, 0, 0, 7, -80, 1, 0"},
      {{0, -1, 3, -4, 7, -80, 1, 0},
       "% Timing_point in_class MJob at (unknown) for_object 0000000000000001 (unknown)\n"
       "    0.000000, -1, 3, -4, 7, -80, 1, 0"},
      // Any byte makes it a record.
      {{0, 0, 0, 0, 0, 0, 0, 0}, ""},
      {{0, 0, 0, 0, 7, 8, 0, 1},
       "% Timing_point (0, 0) in_class MJob at Run for_object 0000000000000000 (unknown)"
       " in_thread 1 (unknown)\n    0.000000, 0, 0, 0, 7, 8, 0, 1"},
  };
  for (const auto& [record, text] : table) {
    KLoggerProbe::SetRecord(log, KLogger::kCapacity - 1, record);
    EXPECT_EQ(log.FormatRecord(KLogger::kCapacity - 1, 0), text);
  }
  EXPECT_EQ(log.FormatRecord(0, 0), "");
  EXPECT_EQ(log.FormatRecord(KLogger::kCapacity, 0), "*OUT OF BOUNDS*");
  EXPECT_EQ(log.FormatRecord(0xFFFFFFFF, 0), "*OUT OF BOUNDS*");
}

TEST(KLoggerText, RelativeTimeCutsTowardsZero) {
  const struct {
    std::int64_t t, reference, frequency;
    const char* text;
  } table[] = {
      {0, 0, 1, "0.000000"},
      {7500, 10000, 10000000, "-0.000250"},
      {1999999, 0, 1000000000, "0.001999"},  // not rounded
      {-1, 0, 1000000000, "-0.000000"},      // the sign is that of the difference
      {-25, 0, 10, "-2.500000"},
      {2599999999, 0, 2600000000, "0.999999"},
      {kMaxInt64, 0, 1, "9223372036854775807.000000"},
      {kMinInt64 + 1, 0, 1, "-9223372036854775807.000000"},
      {kMinInt64, kMaxInt64, 1, "1.000000"},  // the counter has wrapped
  };
  for (const auto& [t, reference, frequency, text] : table) {
    EXPECT_EQ(KLogger::FormatRelativeTime(t, reference, frequency), text);
  }
}

}  // namespace
