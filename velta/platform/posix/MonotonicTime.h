// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <time.h>

namespace Velta::Posix {

/// The point on CLOCK_MONOTONIC that lies so many milliseconds ahead.
inline timespec MonotonicAfter(std::uint32_t milliseconds) noexcept {
  timespec point{};
  ::clock_gettime(CLOCK_MONOTONIC, &point);
  point.tv_sec += static_cast<time_t>(milliseconds / 1000);
  point.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
  if (point.tv_nsec >= 1'000'000'000) {
    point.tv_nsec -= 1'000'000'000;
    ++point.tv_sec;
  }
  return point;
}

/// Nanoseconds on CLOCK_MONOTONIC.
inline std::int64_t MonotonicNow() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace Velta::Posix
