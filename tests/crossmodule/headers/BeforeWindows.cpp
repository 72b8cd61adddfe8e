// SPDX-License-Identifier: MIT
// clang-format off: the order is what is tested
#include "AllPublicHeaders.h"

#undef NOMINMAX
#undef WIN32_LEAN_AND_MEAN
#include <windows.h>
// clang-format on

#include "CallBothNames.h"
