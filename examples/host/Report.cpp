// SPDX-License-Identifier: MIT
#include "Report.h"

#include "FrameworkErrors.h"
#include "RegisteredName.h"
#include "Text.h"

#include <algorithm>
#include <cstdint>

namespace host {
namespace {

const wchar_t ClassName[] = L"Report";
const RegisteredName registeredName(ClassName);

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

// Two digits that mean something, and no fraction of many seconds.
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
    if (file.failure) continue;
    if (table.empty()) row("bytes", "lines", "words", "crc-32    file");
    row(Number(locale, file.totals.bytes), Number(locale, file.totals.lines),
        Number(locale, file.totals.words),
        Checksum(locale, file.checksum) + "  " + DisplayName(file.path));
  }
  return table;
}

std::string Failures(const JobReport& report) {
  std::string text;
  for (const FileResult& file : report.files) {
    if (file.failure) text += DisplayName(file.path) + " failed:\n" + Describe(*file.failure);
  }
  if (report.failure) text += "a thread of the framework failed:\n" + Describe(*report.failure);
  return text;
}

std::size_t FailureCount(const JobReport& report) {
  return static_cast<std::size_t>(
      std::count_if(report.files.begin(), report.files.end(),
                    [](const FileResult& file) { return file.failure.has_value(); }));
}

std::string Summary(const JobReport& report, const LogReport& log, const MLocale& locale) {
  const std::size_t failed = FailureCount(report);
  std::string text;
  text += Line("counted", Number(locale, report.files.size() - failed));
  text += Line("failed", Number(locale, failed));
  text += Line("bytes", Number(locale, report.totals.bytes));
  text += Line("lines", Number(locale, report.totals.lines));
  text += Line("words", Number(locale, report.totals.words));
  text += Line("seconds", Seconds(locale, report.seconds));
  text += Line("commands", Number(locale, report.commandsRun) + " run");
  text += Line("notifications", Number(locale, report.notifications) + " delivered");
  text += Line("hooks", "start " + Times(locale, report.startHookRuns) + ", exit " +
                            Times(locale, report.exitHookRuns) + ", idle " +
                            Times(locale, report.idleRounds));
  text += Line("flush", report.flushed ? "returned while the callers were at work" : "not reached");
  text += Line("stop", "with " + Number(locale, report.handedOver + report.refused) +
                           " queued: " + Number(locale, report.handedOver) + " run by it, " +
                           Number(locale, report.refused) + " refused");
  text += Line("after the stop",
               report.lateRefusal ? "refused, " + LastCode(*report.lateRefusal) : "not refused");
  if (!log.file.empty()) text += Line("event log", log.file);
  text +=
      Line("debug dump", (log.debugDump ? "" : "cannot be written to ") + std::string(kDebugDump));
  return text;
}

}  // namespace host
