// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

constexpr std::int32_t kClass = 7;
constexpr std::int32_t kPoint = 8;
constexpr std::int32_t kError = 9;
constexpr std::int32_t kMessage = 5000;
constexpr std::int64_t kMinInt64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMaxInt64 = std::numeric_limits<std::int64_t>::max();

struct RecordText {
  KLogRecord record;
  const char* text;
};

TEST(KLoggerText, EveryFormOfARecord) {
  KLogger log;
  KLoggerProbe::SetClock(log, 1000000, 0, 0, 0);
  KLogger::RegisterName(&log, kClass, "MJob");
  KLogger::RegisterName(&log, kPoint, "Run");
  KLogger::RegisterStateName(&log, kClass, 2, "Running");
  KLogger::RegisterStateName(&log, std::numeric_limits<std::int32_t>::min() + 3, -50, "Wrapped");
  KLogger::RegisterObjectName(&log, Address(0x21D5C0A1230), "The job");
  KLogger::RegisterThreadName(&log, 4711, "Worker");
  KLogger::RegisterThreadName(&log, 0xFFFFFFFE, "Far");

  const RecordText table[] = {
      // Named throughout, and nothing named.
      {{4213, -25, 2, 0, kClass, kPoint, 0x21D5C0A1230, 4711},
       "% State_change to Running in_class MJob at Run for_object 0000021D5C0A1230 (The job)"
       " in_thread 4711 (Worker)\n    0.004213, -25, 2, 0, 7, 8, 2325121471024, 4711"},
      {{1, -14, 0, 38, 70, 80, 0, 5},
       "% Construction in_class (unknown) at (unknown) for_object 0000000000000000 (unknown)"
       " in_thread 5 (unknown)\n    0.000001, -14, 0, 38, 70, 80, 0, 5"},
      // The numbers' ends: everything prints as signed, the pointer in sixteen digits.
      {{-1, -13, -1, std::numeric_limits<std::int32_t>::max(), -2,
        std::numeric_limits<std::int32_t>::min(), 0xFFFFFFFFFFFFFFFE, 0xFFFFFFFE},
       "% Destruction in_class (unknown) at (unknown) for_object FFFFFFFFFFFFFFFE (unknown)"
       " in_thread -2 (Far)\n    -0.000001, -13, -1, 2147483647, -2, -2147483648, -2, -2"},
      // A thread id of zero is not shown in the first line.
      {{0, -7, 1, 2, kClass, kPoint, 0xA, 0},
       "% Scope_push in_class MJob at Run for_object 000000000000000A (unknown)\n"
       "    0.000000, -7, 1, 2, 7, 8, 10, 0"},
      // A state whose key wraps in 32 bits.
      {{0, -25, -50, 0, std::numeric_limits<std::int32_t>::min() + 3, kPoint, 0, 0},
       "% State_change to Wrapped in_class (unknown) at Run for_object 0000000000000000 (unknown)\n"
       "    0.000000, -25, -50, 0, -2147483645, 8, 0, 0"},
      // Both timing points: only code 0 shows its values and a number for an unknown point.
      {{0, 0, 0, 0, kClass, -80, 1, 0},
       "% Timing_point (0, 0) in_class MJob at_point -80 for_object 0000000000000001 (unknown)\n"
       "    0.000000, 0, 0, 0, 7, -80, 1, 0"},
      {{0, -1, 3, -4, kClass, -80, 1, 0},
       "% Timing_point in_class MJob at (unknown) for_object 0000000000000001 (unknown)\n"
       "    0.000000, -1, 3, -4, 7, -80, 1, 0"},
  };
  for (const RecordText& row : table) {
    KLoggerProbe::SetRecord(log, 5, row.record);
    EXPECT_EQ(log.FormatRecord(5, 0), row.text);
  }
}

TEST(KLoggerText, EveryEventHasItsNameAndShowsWhatItsFirstValueMeans) {
  KLogger log;
  KLogger::RegisterName(&log, kError, "WaitFailed");
  KLogger::RegisterMessageName(&log, kMessage, "Refresh");
  const struct {
    std::int32_t code;
    std::int32_t value;
    const char* text;
  } table[] = {{-202, 0, "Log_module_added"},
               {-201, 0, "Log_module_removed"},
               {-105, kError, "Root_error WaitFailed"},
               {-104, 1, "Cascade_error (unknown)"},
               {-103, 0, "Dismissed_error (unknown)"},
               {-102, kError, "Return_error WaitFailed"},
               {-101, kError, "Warning WaitFailed"},
               {-14, 0, "Construction"},
               {-13, 0, "Destruction"},
               {-25, -4, "State_change to state_-4"},
               {-23, 0, "Notify"},
               {-22, 0, "Update"},
               {-21, kMessage, "Message_send Refresh"},
               {-21, 5001, "Message_send 5001"},
               {-20, kMessage, "Message_receive"},
               {-8, 0, "Scope_pop"},
               {-7, 0, "Scope_push"},
               {-1, 3, "Timing_point"},
               {0, 3, "Timing_point (3, 0)"},
               {42, 3, "unknown event"}};
  for (const auto& row : table) {
    KLogger::Write(&log, row.code, row.value, 0, 0, -80, nullptr);
  }

  const std::vector<LoggedEvent> events = DumpEvents(log);

  ASSERT_EQ(events.size(), std::size(table));
  for (std::size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i].code, table[i].code);
    const std::string point = table[i].code == 0 ? "point -80" : "(unknown)";
    EXPECT_EQ(events[i].Text(), table[i].text + (" (unknown)." + point));
  }
}

TEST(KLoggerText, SlotsOutsideOrNeverWritten) {
  KLogger log;
  EXPECT_EQ(log.FormatRecord(0, 0), "");
  EXPECT_EQ(log.FormatRecord(KLogger::kCapacity - 1, 0), "");
  EXPECT_EQ(log.FormatRecord(KLogger::kCapacity, 0), "*OUT OF BOUNDS*");
  EXPECT_EQ(log.FormatRecord(0xFFFFFFFF, 0), "*OUT OF BOUNDS*");

  KLoggerProbe::SetRecord(log, 0, {0, 0, 0, 0, 0, 0, 0, 1});  // any byte makes it a record
  EXPECT_NE(log.FormatRecord(0, 0), "");
}

TEST(KLoggerText, RelativeTimeCutsTowardsZero) {
  struct Row {
    std::int64_t t, reference, frequency;
    const char* text;
  };
  const Row table[] = {
      {0, 0, 1, "0.000000"},
      {7500, 10000, 10000000, "-0.000250"},
      {10000, 7500, 10000000, "0.000250"},
      {1999999, 0, 1000000000, "0.001999"},  // not rounded
      {-1999999, 0, 1000000000, "-0.001999"},
      {-1, 0, 1000000000, "-0.000000"},  // the sign is that of the difference
      {-25, 0, 10, "-2.500000"},
      {2599999999, 0, 2600000000, "0.999999"},
      {kMaxInt64, 0, 1, "9223372036854775807.000000"},
      {kMinInt64 + 1, 0, 1, "-9223372036854775807.000000"},
      {kMinInt64, kMaxInt64, 1, "1.000000"},  // the counter has wrapped
  };
  for (const Row& row : table) {
    EXPECT_EQ(KLogger::FormatRelativeTime(row.t, row.reference, row.frequency), row.text);
  }
}

}  // namespace
