// SPDX-License-Identifier: MIT
// QueryPerformanceCounter, QueryPerformanceFrequency, _ftime64_s, _ctime64_s.
#include "PlatformKit.h"

#include <chrono>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace {

using Clock = std::chrono::steady_clock;

std::int64_t Counter() {
  LARGE_INTEGER counter{};
  ::QueryPerformanceCounter(&counter);
  return counter.QuadPart;
}

std::int64_t Frequency() {
  LARGE_INTEGER frequency{};
  ::QueryPerformanceFrequency(&frequency);
  return frequency.QuadPart;
}

/// Both clocks at one moment: tries again when the thread lost its processor in between.
std::pair<std::int64_t, Clock::time_point> ReadBothClocks() {
  for (;;) {
    const Clock::time_point before = Clock::now();
    const std::int64_t counter = Counter();
    if (Clock::now() - before < std::chrono::microseconds(50)) {
      return {counter, before};
    }
  }
}

TEST(PerformanceCounter, RunsForwardsAtTheFrequencyThatItNames) {
  const auto from = ReadBothClocks();
  for (std::int64_t last = from.first, now;
       Clock::now() - from.second < std::chrono::milliseconds(50); last = now) {
    now = Counter();
    ASSERT_GE(now, last);
  }
  const auto to = ReadBothClocks();
  const double seconds = std::chrono::duration<double>(to.second - from.second).count();
  const double ticks = static_cast<double>(to.first - from.first);
  EXPECT_NEAR(ticks / static_cast<double>(Frequency()) / seconds, 1.0, 0.005);
  EXPECT_EQ(Frequency(), Frequency());
}

TEST(WallClock, TellsTheSystemsTimeInSecondsAndMilliseconds) {
  const auto milliseconds = [] {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  };
  __timeb64 now{};
  const long long before = milliseconds();
  EXPECT_EQ(::_ftime64_s(&now), 0);
  const long long after = milliseconds();
  constexpr long long kTick = 16;  // the C runtime may read a coarser clock
  EXPECT_GE(now.time * 1000 + now.millitm, before - kTick);
  EXPECT_LE(now.time * 1000 + now.millitm, after + kTick);
  EXPECT_LT(now.millitm, 1000);
}

TEST(WallClock, WritesATimeAsTwentyFiveCharacters) {
  const TolerateInvalidParameters tolerate;
#if defined(_WIN32)
  ::_putenv_s("TZ", "UTC0");
  ::_tzset();
#else
  ::setenv("TZ", "UTC0", 1);
#endif
  const auto text = [](__time64_t time, std::size_t size = 26) {
    char buffer[26] = "unchanged";
    const errno_t result = ::_ctime64_s(buffer, size, &time);
    return std::to_string(result) + ":" + buffer;
  };
  EXPECT_EQ(text(1794674794), "0:Sat Nov 14 16:46:34 2026\n");
  EXPECT_EQ(text(3 * 86400), "0:Sun Jan  4 00:00:00 1970\n");
  EXPECT_EQ(text(32535215999), "0:Wed Dec 31 23:59:59 3000\n");
  const std::string refused = std::to_string(EINVAL) + ":";
  EXPECT_EQ(text(-1), refused);
  EXPECT_EQ(::_ctime64_s(nullptr, 26, nullptr), EINVAL);
  EXPECT_EQ(::_ftime64_s(nullptr), EINVAL);
#if !defined(_WIN32)  // Wine: crashes, and leaves the buffer alone
  EXPECT_EQ(text(32535216000), refused);
  EXPECT_EQ(text(0, 25), refused);
#endif
}

}  // namespace
