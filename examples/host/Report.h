// SPDX-License-Identifier: MIT
#pragma once

#include "Job.h"
#include "velta/text/MLocale.h"

#include <cstddef>
#include <string>

namespace host {

/// What became of the two dumps of the event log.
struct LogReport {
  std::string file;        ///< for display; empty when none was asked for
  bool debugDump = false;  ///< whether the framework's debug dump was written
};

/// Numbers as the user writes them, or as the C locale does when the user's own is not known here.
MLocale UserLocale();

/// A line for each file that was counted, with a heading, numbers right-aligned.
std::string ResultTable(const JobReport& report, const MLocale& locale);

/// For each file that failed its name and its chain of errors.
std::string Failures(const JobReport& report);

/// How many files failed.
std::size_t FailureCount(const JobReport& report);

/// What was counted in all, and how the framework's services went.
std::string Summary(const JobReport& report, const LogReport& log, const MLocale& locale);

}  // namespace host
