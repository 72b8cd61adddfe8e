// SPDX-License-Identifier: MIT
#pragma once

#include "CountFile.h"
#include "Progress.h"
#include "RunMonitor.h"
#include "Workbench.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"

#include <atomic>
#include <cstddef>
#include <optional>
#include <thread>
#include <vector>

namespace host {

/// The threads that share one list of files and have each counted by the processor.
///
/// A caller takes file after file until none is left, then waits until the run is closing and hands
/// its totals over, which ends it. Threads: start and join it on one thread.
class CallerPool {
 public:
  /// What the callers work with; all of it must outlive them.
  struct Tools {
    MCommandProcessor& processor;
    MDesyncEventScheduler& scheduler;
    Workbench& bench;
    ProgressLine& progress;
    RunMonitor& monitor;
  };

  CallerPool(const Tools& callerTools, std::vector<FileResult>& fileResults);
  CallerPool(const CallerPool&) = delete;
  CallerPool& operator=(const CallerPool&) = delete;

  /// Lets the run close, stops the processor, which releases who still waits for it, and joins.
  ~CallerPool();

  /// Errors: `std::system_error` when the system refuses a thread.
  void Start(unsigned count);
  void Join();

  /// After `Join`: how many handed over, and how many the processor refused.
  [[nodiscard]] unsigned GetHandedOver() const noexcept;
  [[nodiscard]] unsigned GetRefused() const noexcept;

  /// After `Join`: the totals that were refused.
  [[nodiscard]] Totals GetTotalsLeft() const noexcept;

 private:
  struct Caller {
    Totals totals;
    std::optional<MException> refusal;
    std::thread thread;
  };

  void Run(Caller& caller, unsigned number);
  void CountOne(Caller& caller, FileResult& result);
  void NotifyDone(const FileResult& result);
  void HandTotalsOver(Caller& caller);

  Tools tools;
  std::vector<FileResult>& results;
  std::atomic<std::size_t> nextResult{0};
  std::vector<Caller> callers;
};

}  // namespace host
