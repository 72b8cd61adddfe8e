// SPDX-License-Identifier: MIT
#include "velta/logging/KGuardedLock.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/platform/internal/Win32.h"

#include <new>

namespace {

const wchar_t ClassName[] = L"KGuardedLock";
const Velta::Logging::ClassNameRegistration registration(ClassName);

// The object in `KGuardedLock::section_`, whose declaration cannot name the type.
CRITICAL_SECTION* In(std::byte* section) noexcept {
  return std::launder(reinterpret_cast<CRITICAL_SECTION*>(section));
}

}  // namespace

KGuardedLock::KGuardedLock() noexcept {
  static_assert(sizeof(CRITICAL_SECTION) <= sizeof(section_));
  static_assert(alignof(CRITICAL_SECTION) <= 8);
  ::InitializeCriticalSection(::new (section_) CRITICAL_SECTION);
  initialised = true;
}

KGuardedLock::~KGuardedLock() {
  initialised = false;
  ::DeleteCriticalSection(In(section_));
}

void KGuardedLock::Enter() noexcept {
  if (initialised) {
    ::EnterCriticalSection(In(section_));
  }
}

void KGuardedLock::Leave() noexcept {
  if (initialised) {
    ::LeaveCriticalSection(In(section_));
  }
}
