// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/KGuardedLock.h"
#include "velta/platform/ThreadSafety.h"

namespace Velta::Logging {

/// Holds a lock for the length of a block.
class VELTA_SCOPED_CAPABILITY KLockHolder {
 public:
  explicit KLockHolder(KGuardedLock& lock) noexcept VELTA_ACQUIRE(lock) : lock_(lock) {
    lock_.Enter();
  }
  KLockHolder(const KLockHolder&) = delete;
  KLockHolder& operator=(const KLockHolder&) = delete;
  ~KLockHolder() VELTA_RELEASE() { lock_.Leave(); }

 private:
  KGuardedLock& lock_;
};

}  // namespace Velta::Logging
