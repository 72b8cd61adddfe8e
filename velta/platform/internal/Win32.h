// SPDX-License-Identifier: MIT
#pragma once

/// Everything our sources call from Win32 and the C runtime, on both platforms.
///
/// Private, and the only file that includes `windows.h`. Elsewhere the same names come from
/// `posix/Win32Subset.h`, which is also the list of what may be used. Call it as `::Name(...)`.

#include "velta/platform/Types.h"

#if defined(_WIN32)

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif

// clang-format off
#include <wchar.h>
#include <windows.h>
#include <objbase.h>
#include <process.h>
#include <sys/timeb.h>
#include <errno.h>
#include <locale.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
// clang-format on

// Names that the framework, or anybody's code, uses for something else.
#undef GetMessage
#undef GetClassInfo
#undef ERROR
#undef IN
#undef OUT
#undef near
#undef far
#undef small
#undef interface
#undef min
#undef max

/// The number of characters that `format` would produce, without a terminator; negative on error.
///
/// What the runtime offers as `_vscwprintf_l`, which some headers hide when `stdio.h` was included
/// before `wchar.h`: the entry point underneath is always there.
inline int CountFormattedWide(const wchar_t* format, _locale_t locale, va_list arguments) noexcept {
  return __stdio_common_vswprintf(
      _CRT_INTERNAL_LOCAL_PRINTF_OPTIONS | _CRT_INTERNAL_PRINTF_STANDARD_SNPRINTF_BEHAVIOR, nullptr,
      0, format, locale, arguments);
}

/// Reads by a format for numbers; returns how many fields were converted, negative without any
/// text.
inline int ScanFormattedWide(const wchar_t* text, const wchar_t* format, _locale_t locale,
                             va_list arguments) noexcept {
  return __stdio_common_vswscanf(_CRT_INTERNAL_LOCAL_SCANF_OPTIONS, text, static_cast<size_t>(-1),
                                 format, locale, arguments);
}

#else
#include "velta/platform/posix/Win32Subset.h"  // IWYU pragma: export
#endif
