// SPDX-License-Identifier: MIT
#include "velta/platform/posix/FutexLock.h"

#include "velta/platform/posix/SpinLimits.h"

namespace Velta::Posix {

void FutexLock::LockContended() noexcept {
  // The holder is out again soon, unless it lost its processor: then sleep.
  for (int i = 0; i < kLockPauses; ++i) {
    SpinPause();
    std::uint32_t seen = state_.load(std::memory_order_relaxed);
    if (seen == kFree && state_.compare_exchange_weak(seen, kHeld, std::memory_order_acquire,
                                                      std::memory_order_relaxed)) {
      return;
    }
  }
  while (state_.exchange(kHeldWithSleepers, std::memory_order_acquire) != kFree) {
    FutexWait(&state_, kHeldWithSleepers, nullptr);
  }
}

}  // namespace Velta::Posix
