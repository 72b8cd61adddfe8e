// SPDX-License-Identifier: MIT
#include_next <sys/timeb.h>
#pragma once
#ifdef __cplusplus
extern "C"
#endif
    _ACRTIMP errno_t __cdecl _ftime64_s(struct __timeb64*);
