// SPDX-License-Identifier: MIT
#include "velta/platform/posix/FutexLock.h"

namespace Velta::Posix {

void FutexLock::LockContended() noexcept {
  // The holder is out again within a microsecond, unless it lost its processor: then sleep.
  constexpr int kPauses = 50;
  for (int i = 0; i < kPauses; ++i) {
    SpinPause();
    std::uint32_t seen = state.load(std::memory_order_relaxed);
    if (seen == kFree && state.compare_exchange_weak(seen, kHeld, std::memory_order_acquire,
                                                     std::memory_order_relaxed)) {
      return;
    }
  }
  while (state.exchange(kHeldWithSleepers, std::memory_order_acquire) != kFree) {
    FutexWait(&state, kHeldWithSleepers, nullptr);
  }
}

}  // namespace Velta::Posix
