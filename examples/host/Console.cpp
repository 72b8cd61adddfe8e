// SPDX-License-Identifier: MIT
#include "Console.h"

#include <cstdio>

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace host {

#if defined(_WIN32)

Console::Console() {
  DWORD mode = 0;  // only a console has one; the null device counts as a terminal elsewhere
  terminal_ = ::GetConsoleMode(::GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
  const UINT current = ::GetConsoleOutputCP();
  if (current != 0 && current != CP_UTF8 && ::SetConsoleOutputCP(CP_UTF8) != 0) {
    earlierCodePage_ = current;
  }
}

Console::~Console() {
  static_cast<void>(Flush());
  if (earlierCodePage_ != 0) {
    ::SetConsoleOutputCP(earlierCodePage_);
  }
}

#else

Console::Console() : terminal_(::isatty(STDOUT_FILENO) == 1) {}

Console::~Console() { static_cast<void>(Flush()); }

#endif

void Console::Write(std::string_view utf8) { std::fwrite(utf8.data(), 1, utf8.size(), stdout); }

void Console::WriteError(std::string_view utf8) {
  static_cast<void>(Flush());
  std::fwrite(utf8.data(), 1, utf8.size(), stderr);
}

bool Console::Flush() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

}  // namespace host
