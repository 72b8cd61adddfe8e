// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <cstddef>
#include <string_view>

namespace Velta::Logging {

class Output;
class RaisedErrors;

// The tool's commands; one source file each.

struct SummaryOptions {
  bool json = false;
  std::size_t rows = 20;  ///< of each table
};
void WriteSummary(const Log& log, const SummaryOptions& options, Output& output);

/// In the trace event format that chrome://tracing and Perfetto read.
void WriteTrace(const Log& log, Output& output);

/// A page that shows the log.
///
/// @param title  shown as the page's name
void WriteView(const Log& log, const RaisedErrors& raised, std::string_view title, Output& output);

void WriteErrors(const Log& log, const RaisedErrors& raised, bool json, Output& output);

/// What `second` does that `first` does not, and the reverse.
void WriteDiff(const Log& first, const Log& second, Output& output);

/// One JSON object per record.
void WriteJsonLines(const Log& log, const RaisedErrors& raised, Output& output);

}  // namespace Velta::Logging
