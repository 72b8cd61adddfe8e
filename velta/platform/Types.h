// SPDX-License-Identifier: MIT
#pragma once

/// The two operating-system types that appear in the public interface.
///
/// Declared as `windows.h` declares them, so that a consumer may include that header before or
/// after ours, or not at all.
using HANDLE = void*;

struct HKEY__;
using HKEY = HKEY__*;
