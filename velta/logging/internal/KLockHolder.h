// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/KGuardedLock.h"
#include "velta/platform/ThreadSafety.h"

/// Holds a lock for the length of a block.
class VELTA_SCOPED_CAPABILITY KLockHolder {
 public:
  explicit KLockHolder(KGuardedLock& held) noexcept VELTA_ACQUIRE(held) : lock(held) {
    lock.Enter();
  }
  KLockHolder(const KLockHolder&) = delete;
  KLockHolder& operator=(const KLockHolder&) = delete;
  ~KLockHolder() VELTA_RELEASE() { lock.Leave(); }

 private:
  KGuardedLock& lock;
};
