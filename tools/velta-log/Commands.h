// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <cstddef>
#include <string_view>

namespace veltalog {

class Output;

// What the tool can make of a log; one source file each.

struct SummaryOptions {
  bool json = false;
  std::size_t rows = 20;  ///< of each table
};
void WriteSummary(const Log& log, const SummaryOptions& options, Output& output);

/// The trace event form that chrome://tracing and Perfetto read.
void WriteTrace(const Log& log, Output& output);

/// A page that shows the log.
///
/// @param title  what the log is called
void WriteView(const Log& log, std::string_view title, Output& output);

void WriteErrors(const Log& log, bool json, Output& output);

/// What `second` does that `first` does not, and the reverse.
void WriteDiff(const Log& first, const Log& second, Output& output);

/// One JSON object a record.
void WriteJsonLines(const Log& log, Output& output);

}  // namespace veltalog
