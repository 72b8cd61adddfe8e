// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>

namespace veltalog {

/// Makes a standard stream carry bytes as they are; elsewhere than on Windows they all do.
void MakeBinary(std::FILE* stream);

/// Whether somebody watches the error stream.
[[nodiscard]] bool ErrorStreamIsTerminal();

/// While it lives, a Windows console shows what is written as the UTF-8 that it is.
class Utf8Console {
 public:
  Utf8Console();
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
  ~Utf8Console();

 private:
  unsigned earlierCodePage = 0;  // 0: nothing to restore
};

}  // namespace veltalog
