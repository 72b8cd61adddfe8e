// SPDX-License-Identifier: MIT
#include "ResidentMemory.h"

#if defined(_WIN32)

// clang-format off
#include <windows.h>
#include <psapi.h>  // takes its types from the one above
// clang-format on

std::uint64_t ResidentMemory() {
  PROCESS_MEMORY_COUNTERS counters{};
  ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
  return counters.WorkingSetSize;
}

#else

#include <fstream>

#include <unistd.h>

std::uint64_t ResidentMemory() {
  std::uint64_t all = 0;
  std::uint64_t resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

#endif
