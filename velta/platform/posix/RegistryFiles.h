// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/RegistryKeys.h"

#include <string_view>

namespace Velta::Posix {

// The registry in the file system: what is in a folder that is a key. All results are those of the
// registry's own calls.

/// The folder of a key that is there without being opened, created when it is missing.
LSTATUS OpenHive(HKEY hive, FileDescriptor& folder) noexcept;

/// Creates what every such key holds from the start.
LSTATUS FillHive(HKEY hive, int folder) noexcept;

/// The folder that `path` leads to, from `start`.
///
/// @param created  null to create nothing; else receives whether the last folder is new
LSTATUS OpenFolder(int start, std::wstring_view path, bool* created,
                   FileDescriptor& folder) noexcept;

/// Whether the folder's permissions allow this.
LSTATUS CheckAccess(int folder, REGSAM access) noexcept;

/// Replaces the value as a whole.
LSTATUS WriteValue(int folder, std::wstring_view name, DWORD type, const BYTE* data,
                   DWORD size) noexcept;

/// Null pointers as for `RegQueryValueExW`.
LSTATUS ReadValue(int folder, std::wstring_view name, DWORD* type, BYTE* data,
                  DWORD* size) noexcept;

}  // namespace Velta::Posix
