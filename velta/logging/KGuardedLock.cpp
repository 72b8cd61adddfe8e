// SPDX-License-Identifier: MIT
#include "velta/logging/KGuardedLock.h"

#include "velta/logging/internal/ClassNameRegistration.h"
#include "velta/platform/internal/Win32.h"

#include <new>

namespace {

const wchar_t ClassName[] = L"KGuardedLock";
const ClassNameRegistration registration(ClassName);

// At the address and alignment of `KGuardedLock::section`, which cannot name the type.
CRITICAL_SECTION* In(std::byte* section) noexcept {
  return std::launder(reinterpret_cast<CRITICAL_SECTION*>(section));
}

}  // namespace

KGuardedLock::KGuardedLock() noexcept {
  static_assert(sizeof(CRITICAL_SECTION) <= sizeof(section));
  static_assert(alignof(CRITICAL_SECTION) <= 8);
  ::InitializeCriticalSection(::new (section) CRITICAL_SECTION);
  initialised = true;
}

KGuardedLock::~KGuardedLock() {
  initialised = false;
  ::DeleteCriticalSection(In(section));
}

void KGuardedLock::Enter() noexcept {
  if (initialised) {
    ::EnterCriticalSection(In(section));
  }
}

void KGuardedLock::Leave() noexcept {
  if (initialised) {
    ::LeaveCriticalSection(In(section));
  }
}
