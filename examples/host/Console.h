// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace host {

/// Standard output and standard error, as UTF-8.
///
/// On Windows it makes a console show UTF-8 for as long as it lives. Threads: one at a time.
class Console {
 public:
  Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console();

  /// Whether somebody watches standard output, rather than a file or a program.
  [[nodiscard]] bool IsTerminal() const { return terminal; }

  void Write(std::string_view utf8);

  /// To standard error, behind everything that was written before.
  void WriteError(std::string_view utf8);

  /// @return whether standard output has taken everything so far
  [[nodiscard]] bool Flush();

 private:
  bool terminal;
  unsigned earlierCodePage = 0;  // 0: nothing to restore
};

}  // namespace host
