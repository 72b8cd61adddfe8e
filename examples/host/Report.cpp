// SPDX-License-Identifier: MIT
#include "Report.h"

#include "FrameworkErrors.h"
#include "Text.h"
#include "velta/logging/ClassNameRegistration.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace host {
namespace {

const wchar_t ClassName[] = L"Report";
const Velta::Logging::ClassNameRegistration registration(ClassName);

// Where the framework's own dump goes.
#if defined(_WIN32)
constexpr char kDebugDump[] = "C:\\Temp\\DebugDump.log";
#else
constexpr char kDebugDump[] = "/tmp/DebugDump.log";
#endif

std::string Number(const MLocale& locale, std::uint64_t number) {
  MString text;
  locale.Format(text, L"%llu", static_cast<unsigned long long>(number));
  return ToUtf8(text);
}

std::string Checksum(const MLocale& locale, std::uint32_t checksum) {
  MString text;
  locale.Format(text, L"%08x", static_cast<unsigned>(checksum));
  return ToUtf8(text);
}

// With at least two significant digits, and without a fraction from ten seconds on.
std::string Seconds(const MLocale& locale, double seconds) {
  MString text;
  locale.Format(text, L"%.*f", seconds < 1 ? 2 : seconds < 10 ? 1 : 0, seconds);
  return ToUtf8(text);
}

std::string PaddedLeft(const std::string& text, std::size_t width) {
  return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
}

std::string Line(std::string label, const std::string& value) {
  constexpr std::size_t kLabelWidth = 16;
  label.resize((std::max)(label.size(), kLabelWidth), ' ');
  return label + value + '\n';
}

std::string ResultLines(const RunResults& results, const MLocale& locale) {
  return Line("counted", Number(locale, results.counted)) +
         Line("failed", Number(locale, results.failed)) +
         Line("bytes", Number(locale, results.bytes)) +
         Line("lines", Number(locale, results.lines)) +
         Line("words", Number(locale, results.words)) +
         Line("seconds", Seconds(locale, results.seconds));
}

/// In UTC, as 2026-11-21T09:44:16Z.
MString CurrentTime() {
  using namespace std::chrono;
  const auto now = floor<seconds>(system_clock::now());
  const auto today = floor<days>(now);
  const year_month_day date(today);
  const hh_mm_ss time(now - today);
  MString text;
  MLocale::GetClassic().Format(
      text, L"%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  return text;
}

std::string Times(const MLocale& locale, std::uint64_t number) {
  return number == 1 ? "once" : Number(locale, number) + " times";
}

std::string LastCode(const MException& exception) {
  const MError* const error = exception.GetError(exception.GetErrorCount() - 1);
  return error != nullptr ? ToUtf8(error->GetMessage()) : "unknown";
}

}  // namespace

MLocale UserLocale() {
  static MFlowPoint point(ClassName, L"UserLocale");
  try {
    return MLocale(L"");
  } catch (const MException& exception) {  // the environment names a locale that is not installed
    point.At(nullptr).LogDismissedError(exception);
    return MLocale(L"C");
  }
}

std::string ResultTable(const JobReport& report, const MLocale& locale) {
  // The totals have the longest numbers.
  const std::size_t bytes = (std::max)(Number(locale, report.totals.bytes).size(), std::size_t{5});
  const std::size_t lines = (std::max)(Number(locale, report.totals.lines).size(), std::size_t{5});
  const std::size_t words = (std::max)(Number(locale, report.totals.words).size(), std::size_t{5});
  std::string table;
  const auto row = [&](const std::string& byteText, const std::string& lineText,
                       const std::string& wordText, const std::string& rest) {
    table += PaddedLeft(byteText, bytes) + "  " + PaddedLeft(lineText, lines) + "  " +
             PaddedLeft(wordText, words) + "  " + rest + '\n';
  };
  for (const FileResult& file : report.files) {
    if (file.failure) {
      continue;
    }
    if (table.empty()) {
      row("bytes", "lines", "words", "crc-32    file");
    }
    row(Number(locale, file.totals.bytes), Number(locale, file.totals.lines),
        Number(locale, file.totals.words),
        Checksum(locale, file.checksum) + "  " + DisplayName(file.path));
  }
  return table;
}

std::string Failures(const JobReport& report) {
  std::string text;
  for (const FileResult& file : report.files) {
    if (file.failure) {
      text += DisplayName(file.path) + " failed:\n" + Describe(*file.failure);
    }
  }
  if (report.failure) {
    text += "a thread of the framework failed:\n" + Describe(*report.failure);
  }
  return text;
}

RunResults ResultsOf(const JobReport& report) {
  RunResults results;
  results.endedAt = CurrentTime();
  for (const FileResult& file : report.files) {
    if (file.failure) {
      ++results.failed;
      results.lastFailure = *file.failure;
    }
  }
  if (report.failure) {
    results.lastFailure = *report.failure;
  }
  results.counted = report.files.size() - results.failed;
  results.bytes = report.totals.bytes;
  results.lines = report.totals.lines;
  results.words = report.totals.words;
  results.seconds = std::round(report.seconds * 1000) / 1000;
  return results;
}

std::string Summary(const JobReport& report, const RunResults& results, const LogReport& log,
                    const std::string& settingsPlace, const MLocale& locale) {
  std::string text = ResultLines(results, locale);
  text += Line("commands", Number(locale, report.commandsRun) + " run");
  text += Line("notifications", Number(locale, report.notifications) + " delivered");
  text += Line("hooks", "start " + Times(locale, report.startHookRuns) + ", exit " +
                            Times(locale, report.exitHookRuns) + ", idle " +
                            Times(locale, report.idleHookRuns));
  text += Line("flush", report.flushed ? "returned while the callers were at work" : "not reached");
  text += Line("stop", "with " + Number(locale, report.runAtStop + report.refusedAtStop) +
                           " queued: " + Number(locale, report.runAtStop) + " run by it, " +
                           Number(locale, report.refusedAtStop) + " refused");
  text += Line("after the stop", report.refusedAfterStop
                                     ? "refused, " + LastCode(*report.refusedAfterStop)
                                     : "not refused");
  if (!log.file.empty()) {
    text += Line("event log", log.file);
  }
  text +=
      Line("debug dump", (log.debugDump ? "" : "cannot be written to ") + std::string(kDebugDump));
  if (!settingsPlace.empty()) {
    text += Line("settings", settingsPlace);
  }
  return text;
}

std::string LastRunSummary(const RunResults& results, const MLocale& locale) {
  std::string text = Line("last run", ToUtf8(results.endedAt)) + ResultLines(results, locale);
  if (results.lastFailure.GetErrorCount() > 0) {
    text += "last failure\n" + Describe(results.lastFailure);
  }
  return text;
}

}  // namespace host
