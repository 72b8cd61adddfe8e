// SPDX-License-Identifier: MIT
#pragma once

#include "CountFile.h"
#include "ProcessorContext.h"
#include "Progress.h"
#include "RunMonitor.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"

#include <atomic>
#include <cstddef>
#include <optional>
#include <thread>
#include <vector>

namespace host {

/// The threads that share one list of files and have the processor count each.
///
/// A caller takes one file after another until none is left, then waits for `kSubmitTotals`,
/// submits its totals, and ends. Threads: start and join the pool on one thread.
class CallerPool {
 public:
  /// What the callers use; all of it must outlive them.
  struct Services {
    MCommandProcessor& processor;
    MDesyncEventScheduler& scheduler;
    ProcessorContext& context;
    ProgressLine& progress;
    RunMonitor& monitor;
  };

  CallerPool(const Services& services, std::vector<FileResult>& results);
  CallerPool(const CallerPool&) = delete;
  CallerPool& operator=(const CallerPool&) = delete;

  /// Lets the callers submit their totals, stops the processor, which releases every caller that
  /// waits for it, and joins.
  ~CallerPool();

  /// Errors: `std::system_error` when the system refuses a thread.
  void Start(unsigned count);
  void Join();

  /// After `Join`: how many callers' totals the processor added, and how many it refused.
  [[nodiscard]] unsigned GetAddedCount() const noexcept;
  [[nodiscard]] unsigned GetRefusedCount() const noexcept;

  /// After `Join`: the sum of the totals that were refused.
  [[nodiscard]] Totals GetRefusedTotals() const noexcept;

 private:
  struct Caller {
    Totals totals;
    std::optional<MException> refusal;
    std::thread thread;
  };

  void Run(Caller& caller, unsigned number);
  void CountOne(Caller& caller, FileResult& result);
  void NotifyFileDone(const FileResult& result);
  void SubmitTotals(Caller& caller);

  Services services_;
  std::vector<FileResult>& results_;
  std::atomic<std::size_t> nextResult_{0};
  std::vector<Caller> callers_;
};

}  // namespace host
