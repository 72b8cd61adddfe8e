// SPDX-License-Identifier: MIT
#include_next <time.h>
#pragma once
#define TIME_UTC 1
struct timespec {
  time_t tv_sec;
  long tv_nsec;
};
#ifdef __cplusplus
extern "C" {
#endif
_ACRTIMP int __cdecl _timespec64_get(struct timespec*, int);
_ACRTIMP errno_t __cdecl _ctime64_s(char*, size_t, const __time64_t*);
_ACRTIMP errno_t __cdecl _gmtime64_s(struct tm*, const __time64_t*);
_ACRTIMP size_t __cdecl _strftime_l(char*, size_t, const char*, const struct tm*, _locale_t);
static inline int timespec_get(struct timespec* now, int base) {
  return _timespec64_get(now, base);
}
static inline errno_t localtime_s(struct tm* to, const time_t* from) {
  return _localtime64_s(to, from);
}
static inline errno_t gmtime_s(struct tm* to, const time_t* from) { return _gmtime64_s(to, from); }
#ifdef __cplusplus
}
#endif
