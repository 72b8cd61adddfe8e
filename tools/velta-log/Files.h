// SPDX-License-Identifier: MIT
#pragma once

#include "Damage.h"
#include "ErrorHistory.h"
#include "Log.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Velta::Logging {

/// A file that cannot be opened, read or written; its text names the file and the reason.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file of the C runtime that closes itself; the standard streams stay open.
using FileHandle = std::unique_ptr<std::FILE, void (*)(std::FILE*)>;

/// Reads a dump.
///
/// @param name  a path in UTF-8, or "-" for standard input
Log ReadDump(const std::string& name, Damage& damage);

/// Reads an errors file; `name` as with a dump.
ErrorHistory ReadErrors(const std::string& name, Damage& damage);

/// @param name  a path in UTF-8
[[nodiscard]] bool IsFile(const std::string& name);

/// A command's result, written in large blocks.
class Output {
 public:
  /// @param name  a path in UTF-8, or "-" for standard output
  explicit Output(const std::string& name);
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view text);

  /// Writes what is left. The result is complete only after this has returned.
  void Close();

 private:
  void Flush();

  std::string fileName_;
  FileHandle file_;
  std::string buffer_;
};

}  // namespace Velta::Logging
