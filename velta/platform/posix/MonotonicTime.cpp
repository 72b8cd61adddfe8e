// SPDX-License-Identifier: MIT
#include "velta/platform/posix/MonotonicTime.h"

namespace Velta::Posix {

std::int64_t MonotonicNow() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

}  // namespace Velta::Posix
