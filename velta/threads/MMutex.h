// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/platform/ThreadSafety.h"

#include <cstddef>
#include <cstdint>

/// A lock as the framework sees it.
class MMutexImp {
 public:
  MMutexImp(const MMutexImp&) = delete;
  MMutexImp& operator=(const MMutexImp&) = delete;
  virtual ~MMutexImp() = default;

  /// Waits until the lock is the caller's. @return whether it is
  virtual bool Lock() = 0;
  /// The same without waiting.
  virtual bool TryLock() = 0;
  virtual void Unlock() = 0;

 protected:
  MMutexImp() = default;
};

VELTA_EXPORTS_BEGIN

/// A Windows critical section: the thread that holds it may take it again.
class VELTA_API MMutexWinImp final : public MMutexImp {
 public:
  MMutexWinImp();
  ~MMutexWinImp() override;

  bool Lock() override;
  bool TryLock() override;
  void Unlock() override;

 private:
  // The critical section itself, whose type only windows.h knows.
  alignas(std::max_align_t) std::byte criticalSection_[48];
};

/// Holds the lock that guards a framework object. Clang checks what is declared as guarded by it.
class VELTA_API VELTA_CAPABILITY("mutex") MMutex {
 public:
  /// Errors: an `MException` holding an `MErrorOutOfMemory`.
  MMutex();
  MMutex(const MMutex&) = delete;
  MMutex& operator=(const MMutex&) = delete;
  ~MMutex();

  /// Waits until the lock is the caller's; recursive. @return false when there is no lock any more
  bool Lock() VELTA_TRY_ACQUIRE(true) {
    if (implementation_ == nullptr || !implementation_->Lock()) {
      return false;
    }
    ++lockCount_;
    return true;
  }

  void Unlock() VELTA_RELEASE() {
    if (implementation_ != nullptr) {
      lockCount_ = lockCount_ > 0 ? lockCount_ - 1 : 0;
      implementation_->Unlock();
    }
  }

 private:
  MMutexImp* implementation_;  // owned
  std::int32_t lockCount_ = 0;
};

VELTA_EXPORTS_END

/// Holds an `MMutex` until its scope ends or `Unlock` is called.
class VELTA_SCOPED_CAPABILITY MMutexGuard {
 public:
  explicit MMutexGuard(MMutex& mutex) VELTA_ACQUIRE(mutex) : mutex_(mutex), locked_(mutex.Lock()) {}
  MMutexGuard(const MMutexGuard&) = delete;
  MMutexGuard& operator=(const MMutexGuard&) = delete;
  ~MMutexGuard() VELTA_RELEASE() { Unlock(); }

  void Unlock() VELTA_RELEASE() {
    if (locked_) {
      locked_ = false;
      mutex_.Unlock();
    }
  }

 private:
  MMutex& mutex_;
  bool locked_;
};
