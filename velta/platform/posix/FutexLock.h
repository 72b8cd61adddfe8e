// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/ThreadSafety.h"
#include "velta/platform/internal/Assert.h"
#include "velta/platform/posix/Atomic.h"
#include "velta/platform/posix/Futex.h"

#include <atomic>
#include <cstdint>

namespace Velta::Posix {

/// A small lock for a few instructions at a time.
///
/// Usable before any constructor ran and after every destructor, unlike a lock with a life of its
/// own: waits happen in static initialisers and while the process ends.
///
/// | its word            | becomes             | by                                               |
/// |---------------------|---------------------|--------------------------------------------------|
/// | kFree               | kHeld               | who comes first                                  |
/// | kHeld               | kHeldWithSleepers   | who finds it held, before going to sleep         |
/// | kFree               | kHeldWithSleepers   | who has slept: others may sleep still            |
/// | kHeld               | kFree               | the holder                                       |
/// | kHeldWithSleepers   | kFree               | the holder, which then wakes one                 |
class VELTA_CAPABILITY("mutex") FutexLock {
 public:
  constexpr FutexLock() noexcept = default;
  FutexLock(const FutexLock&) = delete;
  FutexLock& operator=(const FutexLock&) = delete;

  void lock() noexcept VELTA_ACQUIRE() {
    std::uint32_t seen = kFree;
    if (!state_.compare_exchange_strong(seen, kHeld, std::memory_order_acquire,
                                        std::memory_order_relaxed)) {
      LockContended();
    }
  }

  void unlock() noexcept VELTA_RELEASE() {
    const std::uint32_t was = state_.exchange(kFree, std::memory_order_release);
    VELTA_ASSERT(was != kFree);
    if (was == kHeldWithSleepers) {
      FutexWake(&state_, 1);
    }
  }

 private:
  static constexpr std::uint32_t kFree = 0;
  static constexpr std::uint32_t kHeld = 1;
  static constexpr std::uint32_t kHeldWithSleepers = 2;

  void LockContended() noexcept;

  Atomic<std::uint32_t> state_{kFree};
};

/// Holds a `FutexLock` until its scope ends.
class VELTA_SCOPED_CAPABILITY FutexGuard {
 public:
  explicit FutexGuard(FutexLock& lock) noexcept VELTA_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
  FutexGuard(const FutexGuard&) = delete;
  FutexGuard& operator=(const FutexGuard&) = delete;
  ~FutexGuard() VELTA_RELEASE() { lock_.unlock(); }

 private:
  FutexLock& lock_;
};

}  // namespace Velta::Posix
