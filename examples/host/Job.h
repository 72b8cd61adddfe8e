// SPDX-License-Identifier: MIT
#pragma once

#include "ContentCounter.h"
#include "CountFile.h"
#include "Progress.h"
#include "RunMonitor.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <vector>

namespace host {

/// What a run has done.
struct JobReport {
  std::vector<FileResult> files;  ///< in the order of the command line; folders that failed too
  Totals totals;
  std::uint64_t commandsRun = 0;
  std::uint64_t notifications = 0;
  std::uint32_t idleHookRuns = 0;
  std::uint32_t startHookRuns = 0;
  std::uint32_t exitHookRuns = 0;
  bool flushed = false;        ///< while the callers were at work
  unsigned runAtStop = 0;      ///< commands that the stop found queued, and that ran
  unsigned refusedAtStop = 0;  ///< commands that came too late for that
  std::optional<MException> refusedAfterStop;  ///< why the stopped processor refused a command
  std::optional<MException> failure;  ///< of a thread of the framework; the rest is incomplete
  double seconds = 0;
};

/// Counts the files of `paths`, and those below its folders.
///
/// Starts a command processor and a notification scheduler, has several threads call the processor,
/// and stops everything again.
///
/// @param callers   how many threads call the processor
/// @param monitor   receives the errors of the framework's threads; outlives the call
/// @param progress  where notifications go
/// @param eventLog  receives the event log once the threads have stopped; may be null
///
/// Errors: an `MException` when the framework cannot be started or stopped; `std::system_error`,
/// `std::bad_alloc`. Whatever concerns a file is in its result.
JobReport RunJob(const std::vector<std::filesystem::path>& paths, std::uint32_t callers,
                 RunMonitor& monitor, ProgressLine::Writer progress, std::ostream* eventLog);

}  // namespace host
