// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <time.h>

namespace Velta::Posix {

/// Nanoseconds on CLOCK_MONOTONIC.
std::int64_t MonotonicNow() noexcept;

/// The point on CLOCK_MONOTONIC that lies so many milliseconds ahead.
inline timespec MonotonicAfter(std::uint32_t milliseconds) noexcept {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const std::int64_t point = MonotonicNow() + std::int64_t{milliseconds} * 1'000'000;
  timespec result{};
  result.tv_sec = static_cast<time_t>(point / kSecond);
  result.tv_nsec = static_cast<long>(point % kSecond);
  return result;
}

}  // namespace Velta::Posix
