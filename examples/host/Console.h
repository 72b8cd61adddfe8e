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

  /// Whether standard output is a terminal, rather than a file or a pipe.
  [[nodiscard]] bool IsTerminal() const { return terminal_; }

  void Write(std::string_view utf8);

  /// To standard error, after everything that was written before.
  void WriteError(std::string_view utf8);

  /// @return whether standard output has taken everything so far
  [[nodiscard]] bool Flush();

 private:
  bool terminal_;
  unsigned earlierCodePage_ = 0;  // 0: nothing to restore
};

}  // namespace host
