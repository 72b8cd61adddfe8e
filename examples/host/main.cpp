// SPDX-License-Identifier: MIT
// Counts files on a command processor: an example of a program that is built on the framework.

#include "Console.h"
#include "FrameworkErrors.h"
#include "Job.h"
#include "Options.h"
#include "PersistentState.h"
#include "Report.h"
#include "RunMonitor.h"
#include "Text.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowLogger.h"

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

using namespace host;

constexpr int kBadArguments = 2;

RunMonitor& Monitor() {
  static RunMonitor monitor;
  return monitor;
}

bool OpenLog(std::ofstream& log, const std::filesystem::path& path, Console& console) {
  errno = 0;
  log.open(path, std::ios::out | std::ios::trunc);
  if (log.is_open()) {
    return true;
  }
  const int error = errno;
  console.WriteError("host: cannot write the event log to " + DisplayName(path) + ": " +
                     std::generic_category().message(error) + '\n');
  return false;
}

bool WriteErrors(std::filesystem::path log) {
  log += ".errors";  // the name under which velta-log finds them
  return MErrorHistory::DumpToFile(log);
}

int Count(const Options& options, Console& console) {
  // Asked for before the work is done, so that a bad name does not waste it.
  std::ofstream log;
  if (!options.logFile.empty() && !OpenLog(log, options.logFile, console)) {
    return kBadArguments;
  }

  PersistentState state(options, console);
  const Settings& settings = state.GetSettings();

  ProgressLine::Writer progress;
  if (console.IsTerminal() && !settings.quiet) {
    progress = [&console](std::string_view text) {
      console.Write(text);
      static_cast<void>(console.Flush());
    };
  }
  const JobReport report =
      RunJob(options.paths, settings.threads, Monitor(), progress, log.is_open() ? &log : nullptr);
  const RunResults results = ResultsOf(report);
  const bool saved = state.Save(results);

  // The debug dump has what was logged since the job's own dump, or the whole run without one.
  LogReport logReport;
  if (MFlowLogger* const logger = MFlowLogger::Instance()) {
    logReport.debugDump = logger->DumpToFile() && MErrorHistory::DumpToFile();
  }
  bool complete = true;
  if (log.is_open()) {
    log.close();
    complete = !log.fail() && WriteErrors(options.logFile);
    logReport.file = DisplayName(options.logFile);
  }

  const MLocale locale = UserLocale();
  if (!settings.quiet) {
    console.Write(ResultTable(report, locale));
  }
  console.WriteError(Failures(report));
  if (!complete) {
    console.WriteError("host: the event log could not be written completely\n");
  }
  if (!settings.quiet) {
    console.Write('\n' + Summary(report, results, logReport, state.GetPlace(), locale));
    if (const std::optional<RunResults>& lastRun = state.GetLastRun()) {
      console.Write('\n' + LastRunSummary(*lastRun, locale));
    }
  }
  const bool allCounted = results.failed == 0 && !report.failure;
  return allCounted && complete && saved && console.Flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int RunHost(const std::vector<std::filesystem::path>& arguments) {
  Console console;
  std::set_terminate([] {
    Monitor().OnUnhandledException(0);
    std::abort();
  });
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterThreadName(L"Main thread");
  }
  try {
    const Options options = ParseOptions(arguments);
    if (options.help) {
      console.Write(UsageText());
      return EXIT_SUCCESS;
    }
    return Count(options, console);
  } catch (const UsageError& error) {
    console.WriteError(std::string("host: ") + error.what() + '\n' + UsageText());
    return kBadArguments;
  } catch (const MException& exception) {
    console.WriteError("host: the run failed:\n" + Describe(exception));
  } catch (const std::exception& exception) {
    console.WriteError(std::string("host: ") + exception.what() + '\n');
  }
  return EXIT_FAILURE;
}

}  // namespace

#if defined(_WIN32)
int wmain(int count, wchar_t** arguments) {
#else
int main(int count, char** arguments) {
#endif
  return RunHost({arguments + 1, arguments + (count > 0 ? count : 1)});
}
