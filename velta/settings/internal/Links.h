// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <filesystem>

namespace Velta::Settings {

/// Whether a path is that of a file, and one that the system's calls see whole.
[[nodiscard]] bool NamesFile(const std::filesystem::path& path);

/// A path and where the links of its last part lead, whether or not there is a file.
struct ResolvedPath {
  std::filesystem::path path;
  DWORD error;  // `ERROR_SUCCESS`, or why a link cannot be followed
};

/// @param path  absolute
[[nodiscard]] ResolvedPath ResolveLinks(const std::filesystem::path& path);

}  // namespace Velta::Settings
