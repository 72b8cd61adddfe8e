// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#pragma GCC system_header  // for #include_next, an extension

/// The Win32 subset for simulated runs: comes before the native header on the include path.
///
/// Types, constants, registry, locales and COM are the native header's. What can block, wake, start
/// a thread or tell the time is defined in `Platform.cpp`, where each call asks the scheduler who
/// goes on. What the native header defines inline of these is renamed out of the way.

#define CRITICAL_SECTION NativeCriticalSection
#define InitializeCriticalSection NativeInitializeCriticalSection
#define TryEnterCriticalSection NativeTryEnterCriticalSection
#define EnterCriticalSection NativeEnterCriticalSection
#define LeaveCriticalSection NativeLeaveCriticalSection
#define DeleteCriticalSection NativeDeleteCriticalSection
#define GetCurrentThreadId NativeGetCurrentThreadId
#define QueryPerformanceCounter NativeQueryPerformanceCounter
#include_next "velta/platform/posix/Win32Subset.h"
#undef CRITICAL_SECTION
#undef InitializeCriticalSection
#undef TryEnterCriticalSection
#undef EnterCriticalSection
#undef LeaveCriticalSection
#undef DeleteCriticalSection
#undef GetCurrentThreadId
#undef QueryPerformanceCounter

/// Small enough for the storage that public headers reserve for it.
struct CRITICAL_SECTION {
  const void* owner = nullptr;  // a simulated thread, or the one outside of runs
  std::uint32_t entries = 0;
  std::uint32_t waiting = 0;
};

DWORD GetCurrentThreadId() noexcept;
BOOL QueryPerformanceCounter(LARGE_INTEGER* counter) noexcept;
void InitializeCriticalSection(CRITICAL_SECTION* section) noexcept;
BOOL TryEnterCriticalSection(CRITICAL_SECTION* section) noexcept;
void EnterCriticalSection(CRITICAL_SECTION* section) noexcept;
void LeaveCriticalSection(CRITICAL_SECTION* section) noexcept;
void DeleteCriticalSection(CRITICAL_SECTION* section) noexcept;
