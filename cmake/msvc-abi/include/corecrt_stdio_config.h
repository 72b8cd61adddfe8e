// SPDX-License-Identifier: MIT
// 4: wide %s is wide; 0x20: ties are rounded as IEEE 754 has it, which Visual C++'s start-up code
// asks for.
#include_next <corecrt_stdio_config.h>
#pragma once
#undef _CRT_INTERNAL_LOCAL_PRINTF_OPTIONS
#define _CRT_INTERNAL_LOCAL_PRINTF_OPTIONS 0x24ULL
