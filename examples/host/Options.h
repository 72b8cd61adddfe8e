// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace host {

/// What the command line asks for.
struct Options {
  std::optional<std::uint32_t> threads;  ///< nothing: as remembered, like `quiet`
  std::optional<bool> quiet;
  std::filesystem::path logFile;       ///< empty: no log is written
  std::filesystem::path settingsFile;  ///< empty: nothing is remembered, or in the registry
  bool registry = false;
  bool help = false;  ///< nothing else counts then
  std::vector<std::filesystem::path> paths;
};

/// A command line that cannot be followed. `what()` says why, in UTF-8.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// @param arguments  without the program's own name
///
/// Errors: `UsageError`.
Options ParseOptions(const std::vector<std::filesystem::path>& arguments);

/// How to call the program, several lines.
std::string UsageText();

}  // namespace host
