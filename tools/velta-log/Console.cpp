// SPDX-License-Identifier: MIT
#include "Console.h"

#include <cstdio>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace Velta::Logging {

#if defined(_WIN32)

void MakeBinary(std::FILE* stream) { ::_setmode(::_fileno(stream), _O_BINARY); }

bool ErrorStreamIsTerminal() {
  DWORD mode = 0;  // only a console has one; the null device counts as a terminal elsewhere
  return ::GetConsoleMode(::GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

Utf8Console::Utf8Console() {
  const UINT current = ::GetConsoleOutputCP();
  if (current != 0 && current != CP_UTF8 && ::SetConsoleOutputCP(CP_UTF8) != 0) {
    earlierCodePage_ = current;
  }
}

Utf8Console::~Utf8Console() {
  std::fflush(stdout);
  if (earlierCodePage_ != 0) {
    ::SetConsoleOutputCP(earlierCodePage_);
  }
}

#else

void MakeBinary(std::FILE*) {}

bool ErrorStreamIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }

Utf8Console::Utf8Console() = default;
Utf8Console::~Utf8Console() { std::fflush(stdout); }

#endif

}  // namespace Velta::Logging
