// SPDX-License-Identifier: MIT
#include "velta/threads/MMutex.h"

#include "velta/errors/MError.h"
#include "velta/platform/internal/Win32.h"

#include <new>

namespace {

CRITICAL_SECTION* Section(std::byte* storage) noexcept {
  return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}

}  // namespace

MMutexWinImp::MMutexWinImp() {
  static_assert(sizeof(CRITICAL_SECTION) <= sizeof(criticalSection_));
  static_assert(alignof(CRITICAL_SECTION) <= alignof(std::max_align_t));
  ::InitializeCriticalSection(new (criticalSection_) CRITICAL_SECTION);
}

MMutexWinImp::~MMutexWinImp() { ::DeleteCriticalSection(Section(criticalSection_)); }

bool MMutexWinImp::Lock() {
  ::EnterCriticalSection(Section(criticalSection_));
  return true;
}

bool MMutexWinImp::TryLock() {
  return ::TryEnterCriticalSection(Section(criticalSection_)) != FALSE;
}

void MMutexWinImp::Unlock() { ::LeaveCriticalSection(Section(criticalSection_)); }

MMutex::MMutex() : implementation_(new(std::nothrow) MMutexWinImp) {
  if (implementation_ == nullptr) {
    MErrorOutOfMemory::Throw();
  }
}

MMutex::~MMutex() {
  delete implementation_;
  implementation_ = nullptr;
}
