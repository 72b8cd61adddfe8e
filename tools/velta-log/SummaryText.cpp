// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Events.h"
#include "Files.h"
#include "JsonWriter.h"
#include "Summary.h"
#include "Text.h"
#include "WallClock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velta::Logging {
namespace {

/// The indexes for which `measure` is not 0, the largest first.
template <typename Measure>
std::vector<std::uint32_t> Ranked(std::size_t count, Measure measure) {
  std::vector<std::uint32_t> order(count);
  std::iota(order.begin(), order.end(), 0U);
  std::erase_if(order, [&](std::uint32_t i) { return measure(i) == 0; });
  std::stable_sort(order.begin(), order.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return measure(a) > measure(b); });
  return order;
}

/// The log's summary as tables.
class TextReport {
 public:
  TextReport(const Log& log, const Scopes& scopes, std::size_t rows, Output& output)
      : log_(log),
        scopes_(scopes),
        summary_(Summarise(log, scopes)),
        rows_(rows),
        output_(output) {}

  void Write() {
    WriteSpan();
    WriteThreads();
    WriteClasses();
    WriteOperations();
    WriteErrorCounts();
    WriteStates();
    WriteOpenScopes();
  }

 private:
  void Section(std::string_view title, const Table& table) {
    if (table.IsEmpty()) {
      return;
    }
    output_.Write("\n");
    output_.Write(title);
    output_.Write("\n");
    table.Print(output_, rows_);
  }

  void WriteSpan() {
    std::string text = CountText(log_.records.size(), "record");
    if (!log_.records.empty()) {
      text += " in " + DurationText(log_.End() - log_.Begin());
      if (log_.wallClock) {
        text += ", from " + FormatWallClock(*log_.wallClock + log_.Begin()) + " to " +
                FormatWallClock(*log_.wallClock + log_.End());
      }
    }
    output_.Write(text + '\n');
    std::string separator = "  ";
    for (const auto& [name, count] : summary_.events) {
      output_.Write(separator + name + ' ' + std::to_string(count));
      separator = ", ";
    }
    if (!summary_.events.empty()) {
      output_.Write("\n");
    }
  }

  void WriteThreads() {
    Table table({"thread", ">id", ">records", ">scopes", ">in scopes", ">errors", ">from", ">to"});
    for (const std::uint32_t i : Ranked(
             log_.threads.size(), [&](std::uint32_t t) { return summary_.threads[t].records; })) {
      const ThreadActivity& thread = summary_.threads[i];
      table.Add({log_.ThreadName(i), std::to_string(log_.threads[i].id),
                 std::to_string(thread.records), std::to_string(thread.scopes),
                 DurationText(thread.inScopes), std::to_string(thread.errors),
                 SecondsText(thread.begin), SecondsText(thread.end)});
    }
    Section("Threads", table);
  }

  void WriteClasses() {
    Table table({"class", ">records", ">scopes", ">total", ">self", ">constructed", ">destroyed",
                 ">errors"});
    std::vector<std::pair<NameId, Activity>> classes(summary_.classes.begin(),
                                                     summary_.classes.end());
    for (const std::uint32_t i :
         Ranked(classes.size(), [&](std::uint32_t c) { return classes[c].second.records; })) {
      const auto& [name, activity] = classes[i];
      table.Add({std::string(log_.Name(name)), std::to_string(activity.records),
                 std::to_string(activity.scopes), DurationText(activity.total),
                 DurationText(activity.self), std::to_string(activity.constructions),
                 std::to_string(activity.destructions), std::to_string(activity.errors)});
    }
    Section("Classes", table);
  }

  void WriteOperations() {
    Table timed({"operation", ">scopes", ">total", ">self", ">median", ">90%", ">99%", ">longest",
                 ">errors"});
    const auto& operations = summary_.operations;
    for (const std::uint32_t i : Ranked(operations.size(), [&](std::uint32_t operation) {
           return operations[operation].scopes == 0 ? 0 : operations[operation].self + 1;
         })) {
      const Percentiles& percentiles = summary_.percentiles[i];
      const auto measured = [&](Micros value) {
        return percentiles.count == 0 ? std::string("-") : DurationText(value);
      };
      AddTimed(timed, i,
               {DurationText(operations[i].total), DurationText(operations[i].self),
                measured(percentiles.median), measured(percentiles.p90), measured(percentiles.p99),
                measured(percentiles.longest)});
    }
    Section("Operations with scopes, by the time in themselves", timed);

    Table counted({"operation", ">records", ">errors"});
    for (const std::uint32_t i : Ranked(operations.size(), [&](std::uint32_t operation) {
           return operations[operation].scopes == 0 ? operations[operation].records : 0;
         })) {
      counted.Add({log_.FullName(i), std::to_string(operations[i].records),
                   std::to_string(operations[i].errors)});
    }
    Section("Operations without scopes", counted);
  }

  void AddTimed(Table& table, std::uint32_t operation, std::vector<std::string> durations) {
    durations.insert(durations.begin(), {log_.FullName(operation),
                                         std::to_string(summary_.operations[operation].scopes)});
    durations.push_back(std::to_string(summary_.operations[operation].errors));
    table.Add(std::move(durations));
  }

  void WriteErrorCounts() {
    Table errors({"error", "kind", ">count", ">first at"});
    Table dismissed({"dismissed by", ">count", ">first at"});
    for (const auto& [key, error] : summary_.errors) {
      const auto& [code, text] = key;
      const Record& first = log_.records[error.firstRecord];
      if (code == kDismissedError) {
        dismissed.Add(
            {log_.FullName(first.operation), std::to_string(error.count), SecondsText(first.time)});
      } else {
        errors.Add({text, std::string(EventName(code)), std::to_string(error.count),
                    SecondsText(first.time)});
      }
    }
    Section("Errors", errors);
    Section("Dismissed errors", dismissed);
  }

  void WriteStates() {
    Table table({"class", "object", "states"});
    for (const StateHistory& history : summary_.histories) {
      std::string states;
      for (std::size_t i = 0; i < history.spans.size(); ++i) {
        if (i == kShownStates) {
          states += " -> ... " + std::to_string(history.spans.size() - i) + " more";
          break;
        }
        const StateSpan& span = history.spans[i];
        if (i > 0) {
          states += " -> ";
        }
        states += std::string(log_.Name(span.state)) + ' ' + DurationText(span.end - span.begin);
      }
      if (history.destroyed) {
        states += " -> destroyed";
      }
      const std::string_view name = log_.Name(history.objectName);
      table.Add({std::string(log_.Name(history.className)),
                 name == kUnknown ? AddressText(history.object) : std::string(name), states});
    }
    Section("States", table);
  }

  void WriteOpenScopes() {
    Table table({"never closed", "thread", "object", ">since", ">for"});
    for (const std::uint32_t i : summary_.neverClosed) {
      const Scope& scope = scopes_.all[i];
      const Record& entry = log_.records[scope.entry];
      table.Add({log_.FullName(entry.operation), log_.ThreadLabel(entry.thread),
                 AddressText(entry.object), SecondsText(entry.time),
                 DurationText(scope.Duration())});
    }
    Section("Scopes that never closed", table);
    if (summary_.neverOpened > 0) {
      output_.Write('\n' + CountText(summary_.neverOpened, "scope") +
                    " entered before the log's first record\n");
    }
    if (summary_.strayExits > 0) {
      output_.Write('\n' + CountText(summary_.strayExits, "scope exit") +
                    " without an entry inside another scope\n");
    }
  }

  static constexpr std::size_t kShownStates = 8;

  const Log& log_;
  const Scopes& scopes_;
  Summary summary_;
  std::size_t rows_;
  Output& output_;
};

}  // namespace

void WriteSummary(const Log& log, const SummaryOptions& options, Output& output) {
  const Scopes scopes = FindScopes(log);
  if (options.json) {
    JsonWriter json(output);
    WriteSummaryJson(log, scopes, Summarise(log, scopes), json);
    json.EndLine();
  } else {
    TextReport(log, scopes, options.rows, output).Write();
  }
}

}  // namespace Velta::Logging
