// SPDX-License-Identifier: MIT
#pragma once

// How much of a stress test's full count is worth running in this build.

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define VELTA_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define VELTA_TEST_SANITIZED 1
#endif
#endif

/// Waits and wake-ups: under Wine each is a round trip to its server.
#if defined(_WIN32)
inline constexpr int kWaitDivisor = 100;
#else
inline constexpr int kWaitDivisor = 1;
#endif

/// Everything else: sanitizers and an emulated processor slow the code itself down.
#if defined(VELTA_TEST_SANITIZED) || defined(VELTA_TEST_EMULATED)
inline constexpr int kStressDivisor = 10;
#else
inline constexpr int kStressDivisor = kWaitDivisor;
#endif

/// `full` rounds on an idle Linux build, fewer where they cost much more; at least one.
constexpr int StressRounds(int full, int divisor = kStressDivisor) {
  return full / divisor > 0 ? full / divisor : 1;
}
