// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <fstream>
#include <ios>
#include <limits>
#include <string>
#include <thread>

/// Returns once the thread sleeps in a system call or has ended. Only Linux shows that: elsewhere
/// it returns at once, so a test may owe its power to this but not its result.
inline void AwaitSleep([[maybe_unused]] DWORD threadId) {
#if defined(__linux__)
  const std::string path = "/proc/self/task/" + std::to_string(threadId) + "/stat";
  for (char state = 'R'; state == 'R'; std::this_thread::yield()) {
    std::ifstream stat(path);
    stat.ignore((std::numeric_limits<std::streamsize>::max)(), ')');
    if (!(stat >> state)) {
      return;
    }
  }
#endif
}
