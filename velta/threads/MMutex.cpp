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
  static_assert(sizeof(CRITICAL_SECTION) <= sizeof(criticalSection));
  static_assert(alignof(CRITICAL_SECTION) <= alignof(std::max_align_t));
  ::InitializeCriticalSection(new (criticalSection) CRITICAL_SECTION);
}

MMutexWinImp::~MMutexWinImp() { ::DeleteCriticalSection(Section(criticalSection)); }

bool MMutexWinImp::Lock() {
  ::EnterCriticalSection(Section(criticalSection));
  return true;
}

bool MMutexWinImp::TryLock() {
  return ::TryEnterCriticalSection(Section(criticalSection)) != FALSE;
}

void MMutexWinImp::Unlock() { ::LeaveCriticalSection(Section(criticalSection)); }

MMutex::MMutex() : implementation(new(std::nothrow) MMutexWinImp) {
  if (implementation == nullptr) {
    MErrorOutOfMemory::Throw();
  }
}

MMutex::~MMutex() {
  delete implementation;
  implementation = nullptr;
}
