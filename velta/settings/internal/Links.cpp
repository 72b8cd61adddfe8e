// SPDX-License-Identifier: MIT
#include "velta/settings/internal/Links.h"

#include "velta/platform/internal/StorageCalls.h"

#include <atomic>

namespace Velta::Settings {

namespace fs = std::filesystem;

bool NamesFile(const fs::path& path) {
  const fs::path name = path.filename();
  return !name.empty() && name != "." && name != ".." &&
         path.native().find(fs::path::value_type{}) == fs::path::string_type::npos;
}

ResolvedPath ResolveLinks(const fs::path& path) {
  constexpr int kMostLinks = 40;  // as many as Linux follows
  const auto readLink = Platform::storageCalls.readLink.load(std::memory_order_relaxed);
  fs::path resolved = path;
  for (int links = 0; links <= kMostLinks; ++links) {
    fs::path target;
    switch (const DWORD error = readLink(resolved, &target)) {
      case ERROR_SUCCESS:
        resolved = resolved.parent_path() / target;
        break;
      case ERROR_NOT_A_REPARSE_POINT:
      case ERROR_FILE_NOT_FOUND:
      case ERROR_PATH_NOT_FOUND:
        return {resolved, ERROR_SUCCESS};
      default:
        return {resolved, error};
    }
  }
  return {resolved, ERROR_CANT_RESOLVE_FILENAME};
}

}  // namespace Velta::Settings
