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
/// Threads: only the processor's thread touches the public fields while it runs, so none needs a
/// lock; others read them before `Start` and after `Stop`.
class ProcessorContext {
 public:
  explicit ProcessorContext(RunMonitor& monitor) : monitor_(monitor) {}
  ProcessorContext(const ProcessorContext&) = delete;
  ProcessorContext& operator=(const ProcessorContext&) = delete;

  /// Start hook: allocates the block that all files are read into.
  void OnThreadStart();

  /// Exit hook: frees it.
  void OnThreadExit();

  /// Idle hook. Blocks the thread until a stop is requested, if `BlockUntilStop` has asked for it.
  void OnIdle();

  /// Has the next idle hook block `processor`, so that the commands queued from then on are still
  /// queued when it is stopped. From any thread.
  void BlockUntilStop(const MCommandProcessor& processor) noexcept { blocked_.store(&processor); }

  std::vector<unsigned char> block;
  Totals totals;
  std::uint64_t commandsRun = 0;
  std::uint32_t idleHookRuns = 0;
  std::uint32_t startHookRuns = 0;
  std::uint32_t exitHookRuns = 0;

 private:
  RunMonitor& monitor_;
  std::atomic<const MCommandProcessor*> blocked_{nullptr};
};

}  // namespace host
