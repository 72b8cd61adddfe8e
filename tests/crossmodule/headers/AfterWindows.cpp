// SPDX-License-Identifier: MIT
// clang-format off: the order is what is tested
#undef NOMINMAX
#undef WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "AllPublicHeaders.h"
// clang-format on

#include "CallBothNames.h"
