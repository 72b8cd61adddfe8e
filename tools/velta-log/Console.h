// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>

namespace Velta::Logging {

/// Turns off the translation of line breaks in a standard stream; only Windows has any.
void MakeBinary(std::FILE* stream);

/// Whether the error stream is a terminal.
[[nodiscard]] bool ErrorStreamIsTerminal();

/// While it lives, a Windows console takes output for UTF-8.
class Utf8Console {
 public:
  Utf8Console();
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
  ~Utf8Console();

 private:
  unsigned earlierCodePage_ = 0;  // 0: nothing to restore
};

}  // namespace Velta::Logging
