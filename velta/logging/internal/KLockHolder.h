// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/KGuardedLock.h"

namespace Velta::Logging {

/// Holds a lock for the length of a block.
class KLockHolder {
 public:
  explicit KLockHolder(KGuardedLock& lock) noexcept : lock_(lock) { lock_.Enter(); }
  KLockHolder(const KLockHolder&) = delete;
  KLockHolder& operator=(const KLockHolder&) = delete;
  ~KLockHolder() { lock_.Leave(); }

 private:
  KGuardedLock& lock_;
};

}  // namespace Velta::Logging
