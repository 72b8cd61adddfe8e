// SPDX-License-Identifier: MIT
#include "velta/platform/posix/Futex.h"
#include "velta/platform/posix/SpinLimits.h"
#include "velta/platform/posix/Win32Subset.h"

#include <atomic>
#include <cstdint>

namespace Velta::Posix {

void EnterContended(CRITICAL_SECTION* section, std::uint32_t self) noexcept {
  Atomic<std::uint32_t>& word = section->word;
  // Sections are held for a few instructions, so a short look often saves going to sleep. Where
  // others sleep already it is crowded: looking on would only slow the owner down.
  for (int i = 0; i < kSectionPauses; ++i) {
    std::uint32_t seen = word.load(std::memory_order_relaxed);
    if (seen == 0 && word.compare_exchange_weak(seen, self, std::memory_order_acquire,
                                                std::memory_order_relaxed)) {
      return;
    }
    if ((seen & kSleepersBit) != 0) {
      break;
    }
    SpinPause();
  }
  std::uint32_t seen = word.load(std::memory_order_relaxed);
  for (;;) {
    if (seen == 0) {
      // Others may sleep still: the bit makes the owner wake one of them when it leaves.
      if (word.compare_exchange_weak(seen, self | kSleepersBit, std::memory_order_acquire,
                                     std::memory_order_relaxed)) {
        return;
      }
      continue;
    }
    if ((seen & kSleepersBit) == 0 &&
        !word.compare_exchange_weak(seen, seen | kSleepersBit, std::memory_order_relaxed)) {
      continue;
    }
    FutexWait(&word, seen | kSleepersBit, nullptr);
    seen = word.load(std::memory_order_relaxed);
  }
}

void LeaveContended(CRITICAL_SECTION* section) noexcept { FutexWake(&section->word, 1); }

}  // namespace Velta::Posix
