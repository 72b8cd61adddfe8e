// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Futex.h"

#include <atomic>
#include <cstdint>

namespace Velta::Posix {

/// A small lock for a few instructions at a time; for `std::lock_guard`.
///
/// Usable before any constructor ran and after every destructor, unlike a lock with a life of its
/// own: waits happen in static initialisers and while the process ends.
class FutexLock {
 public:
  constexpr FutexLock() noexcept = default;
  FutexLock(const FutexLock&) = delete;
  FutexLock& operator=(const FutexLock&) = delete;

  void lock() noexcept {
    std::uint32_t seen = kFree;
    if (!state.compare_exchange_strong(seen, kHeld, std::memory_order_acquire,
                                       std::memory_order_relaxed)) {
      LockContended();
    }
  }

  void unlock() noexcept {
    if (state.exchange(kFree, std::memory_order_release) == kHeldWithSleepers) {
      FutexWake(&state, 1);
    }
  }

 private:
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::uint32_t kHeld = 1;
  static constexpr std::uint32_t kHeldWithSleepers = 2;

  void LockContended() noexcept;

  std::atomic<std::uint32_t> state{kFree};
};

}  // namespace Velta::Posix
