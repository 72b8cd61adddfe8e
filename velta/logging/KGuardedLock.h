// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/platform/ThreadSafety.h"

#include <cstddef>

/// A critical section that does nothing before its construction and after its destruction.
///
/// Guards one name table of the log, which static initialisers and destructors may reach at any
/// time. The owning thread may enter again; each `Enter` needs its `Leave`.
class VELTA_CAPABILITY("lock") KGuardedLock {
 public:
  VELTA_API KGuardedLock() noexcept;
  KGuardedLock(const KGuardedLock&) = delete;
  KGuardedLock& operator=(const KGuardedLock&) = delete;
  VELTA_API ~KGuardedLock();

  /// Waits until no other thread is inside. Does nothing while the lock is not initialised.
  VELTA_API void Enter() noexcept VELTA_ACQUIRE();

  /// Lets the next thread in. Does nothing while the lock is not initialised.
  VELTA_API void Leave() noexcept VELTA_RELEASE();

 private:
  friend struct KLoggerProbe;

  bool initialised = false;
  alignas(8) std::byte section_[40];  // the system's CRITICAL_SECTION, unnamed in a public header
};
