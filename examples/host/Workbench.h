// SPDX-License-Identifier: MIT
#pragma once

#include "ContentCounter.h"
#include "RunMonitor.h"

#include <atomic>
#include <cstdint>
#include <vector>

class MCommandProcessor;

namespace host {

/// What the commands share, and the hooks of the processor that runs them.
///
/// Threads: only the processor's thread touches the fields while it runs, so none needs a lock;
/// others read them before `Start` and after `Stop`.
class Workbench {
 public:
  explicit Workbench(RunMonitor& runMonitor) : monitor(runMonitor) {}
  Workbench(const Workbench&) = delete;
  Workbench& operator=(const Workbench&) = delete;

  /// Start hook: gets the block that all files are read into.
  void OnThreadStart();

  /// Exit hook: gives it back.
  void OnThreadExit();

  /// Idle hook. Once it has been asked to hold, it keeps the thread until a stop is requested.
  void OnIdle();

  /// Has the next idle round hold `processor`, so that what is queued from then on is still queued
  /// when it is stopped. From any thread.
  void HoldUntilStopOf(const MCommandProcessor& processor) noexcept { held.store(&processor); }

  std::vector<unsigned char> block;
  Totals totals;
  std::uint64_t commandsRun = 0;
  std::uint32_t idleRounds = 0;
  std::uint32_t startHookRuns = 0;
  std::uint32_t exitHookRuns = 0;

 private:
  RunMonitor& monitor;
  std::atomic<const MCommandProcessor*> held{nullptr};
};

}  // namespace host
