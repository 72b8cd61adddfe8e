// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Win32Subset.h"

namespace Velta::Posix {

/// The code that Windows gives for what `errno` says of a file or a folder.
LONG ErrorFromErrno(int number) noexcept;

}  // namespace Velta::Posix
