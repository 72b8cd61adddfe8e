// SPDX-License-Identifier: MIT
// Keeps every part of the framework busy at once: nothing may be lost, changed or leaked.
//
//   velta_soak SECONDS
//
// Exit code: 0 all is well, 1 something is not, 2 bad arguments.

#include "Loads.h"
#include "velta/logging/MFlowLogger.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#if defined(_WIN32)
// clang-format off
#include <windows.h>
#include <psapi.h>  // takes its types from the one above
// clang-format on
#else
#include <fstream>

#include <unistd.h>
#endif

namespace {

constexpr double kMegabyte = 1048576.0;
constexpr double kMostGrowth = 16 * kMegabyte;  // allocators keep some of what they got

/// What the process holds of the machine's memory now, in bytes.
double ResidentMemory() {
#if defined(_WIN32)
  PROCESS_MEMORY_COUNTERS counters{};
  ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
  return static_cast<double>(counters.WorkingSetSize);
#else
  double all = 0;
  double resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  return resident * static_cast<double>(::sysconf(_SC_PAGESIZE));
#endif
}

void Run(Tally& tally, void (*load)(Tally&)) {
  try {
    load(tally);
  } catch (const std::exception& exception) {
    tally.Fail(std::string("a load has thrown: ") + exception.what());
  }
}

/// @return the memory held at ten times; what is there after the first of them is the run's own
std::vector<double> RunLoads(Tally& tally, std::chrono::seconds length) {
  std::vector<std::thread> threads;
  for (void (*load)(Tally&) : {SubmitCommands, ScheduleNotifications, StoreSettings, DumpLog}) {
    threads.emplace_back(Run, std::ref(tally), load);
  }
  std::vector<double> memory;
  for (int look = 0; look < 10; ++look) {
    std::this_thread::sleep_for(length / 10.0);
    memory.push_back(ResidentMemory());
  }
  tally.ending = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  return memory;
}

void Print(const char* what, const std::atomic<std::uint64_t>& done, std::chrono::seconds length) {
  const auto count = static_cast<unsigned long long>(done);
  std::printf("%-15s %12llu  %10llu a second\n", what, count,
              count / static_cast<unsigned long long>(length.count()));
}

}  // namespace

int main(int count, char** arguments) {
  int seconds = 0;
  if (count == 2) {
    std::from_chars(arguments[1], arguments[1] + std::strlen(arguments[1]), seconds);
  }
  if (seconds < 1) {
    std::fputs("usage: velta_soak SECONDS\n", stderr);
    return 2;
  }
  const std::chrono::seconds length(seconds);
  // Threads that race for its first use may make two, and keep both.
  static_cast<void>(MFlowLogger::Instance());
  Tally tally;
  const std::vector<double> memory = RunLoads(tally, length);
  const double atFirst = memory[1];
  const double atLast = *std::min_element(memory.end() - 3, memory.end());

  std::printf("ran for %d seconds\n", seconds);
  Print("commands", tally.submitted, length);
  Print("with an error", tally.reported, length);
  Print("notifications", tally.delivered, length);
  Print("settings", tally.stored, length);
  Print("log records", tally.records, length);
  Print("log dumps", tally.dumps, length);
  std::printf("%-15s %9.1f MB  %10.1f MB at the end\n", "memory", atFirst / kMegabyte,
              atLast / kMegabyte);

  if (tally.submitted != tally.executed || tally.failed != tally.reported) {
    tally.Fail("a command or its error has been lost");
  }
  if (tally.scheduled != tally.delivered) {
    tally.Fail("a notification has been lost");
  }
#if !defined(VELTA_TEST_SANITIZED)
  if (atLast > atFirst + kMostGrowth) {
    tally.Fail("memory grows");
  }
#endif
  std::puts(tally.HasFailed() ? tally.GetFault().c_str() : "nothing lost, nothing changed");
  return tally.HasFailed() ? 1 : 0;
}
