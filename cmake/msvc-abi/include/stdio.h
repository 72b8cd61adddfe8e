// SPDX-License-Identifier: MIT
#include <corecrt_wstdio.h>
#include_next <stdio.h>
#pragma once
#ifdef __cplusplus
extern "C" {
#endif
static inline int _vsnwprintf_s_l(wchar_t* to, size_t size, size_t count, const wchar_t* format,
                                  _locale_t locale, va_list arguments) {
  return __stdio_common_vsnwprintf_s(_CRT_INTERNAL_LOCAL_PRINTF_OPTIONS, to, size, count, format,
                                     locale, arguments);
}
#ifdef __cplusplus
}
#endif
