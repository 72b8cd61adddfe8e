// SPDX-License-Identifier: MIT
#pragma once

#include "Job.h"
#include "Settings.h"
#include "velta/text/MLocale.h"

#include <string>

namespace host {

/// What became of the two dumps of the event log.
struct LogReport {
  std::string file;        ///< for display; empty when none was asked for
  bool debugDump = false;  ///< whether the framework's debug dump was written, with errors
};

/// Numbers as the user writes them, or as the C locale does when the user's own is not known here.
MLocale UserLocale();

/// A line for each file that was counted, with a heading, numbers right-aligned.
std::string ResultTable(const JobReport& report, const MLocale& locale);

/// For each file that failed its name and its chain of errors.
std::string Failures(const JobReport& report);

/// What a run that ends now came to.
RunResults ResultsOf(const JobReport& report);

/// What was counted in all, and how the framework's services went.
///
/// @param settingsPlace  empty when nothing is remembered
std::string Summary(const JobReport& report, const RunResults& results, const LogReport& log,
                    const std::string& settingsPlace, const MLocale& locale);

/// What an earlier run has left.
std::string LastRunSummary(const RunResults& results, const MLocale& locale);

}  // namespace host
