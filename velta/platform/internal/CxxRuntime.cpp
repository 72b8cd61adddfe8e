// SPDX-License-Identifier: MIT
#include "velta/platform/Api.h"

void VELTA_CXX_RUNTIME() noexcept {}
