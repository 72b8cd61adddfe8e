// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/KGuardedLock.h"

/// Holds a lock for the length of a block.
class KLockHolder {
 public:
  explicit KLockHolder(KGuardedLock& held) noexcept : lock(held) { lock.Enter(); }
  KLockHolder(const KLockHolder&) = delete;
  KLockHolder& operator=(const KLockHolder&) = delete;
  ~KLockHolder() { lock.Leave(); }

 private:
  KGuardedLock& lock;
};
