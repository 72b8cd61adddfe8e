// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "EventCode.h"
#include "Files.h"
#include "JsonWriter.h"
#include "Summary.h"
#include "Text.h"
#include "WallClock.h"

#include <algorithm>
#include <numeric>

namespace veltalog {
namespace {

/// The indexes of what `measure` does not give 0 for, the largest first.
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
  TextReport(const Log& source, const Scopes& found, std::size_t rows, Output& target)
      : log(source), scopes(found), summary(Summarise(source, found)), most(rows), output(target) {}

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
    output.Write("\n");
    output.Write(title);
    output.Write("\n");
    table.Print(output, most);
  }

  void WriteSpan() {
    std::string text = CountText(log.records.size(), "record");
    if (!log.records.empty()) {
      text += " in " + DurationText(log.End() - log.Begin());
      if (log.wallClock) {
        text += ", from " + FormatWallClock(*log.wallClock + log.Begin()) + " to " +
                FormatWallClock(*log.wallClock + log.End());
      }
    }
    output.Write(text + '\n');
    std::string separator = "  ";
    for (const auto& [name, count] : summary.events) {
      output.Write(separator + name + ' ' + std::to_string(count));
      separator = ", ";
    }
    if (!summary.events.empty()) {
      output.Write("\n");
    }
  }

  void WriteThreads() {
    Table table({"thread", ">id", ">records", ">scopes", ">in scopes", ">errors", ">from", ">to"});
    for (const std::uint32_t i :
         Ranked(log.threads.size(), [&](std::uint32_t t) { return summary.threads[t].records; })) {
      const ThreadActivity& thread = summary.threads[i];
      table.Add({log.ThreadName(i), std::to_string(log.threads[i].id),
                 std::to_string(thread.records), std::to_string(thread.scopes),
                 DurationText(thread.inScopes), std::to_string(thread.errors),
                 SecondsText(thread.begin), SecondsText(thread.end)});
    }
    Section("Threads", table);
  }

  void WriteClasses() {
    Table table({"class", ">records", ">scopes", ">total", ">self", ">constructed", ">destroyed",
                 ">errors"});
    std::vector<std::pair<NameId, Activity>> classes(summary.classes.begin(),
                                                     summary.classes.end());
    for (const std::uint32_t i :
         Ranked(classes.size(), [&](std::uint32_t c) { return classes[c].second.records; })) {
      const auto& [name, activity] = classes[i];
      table.Add({std::string(log.Name(name)), std::to_string(activity.records),
                 std::to_string(activity.scopes), DurationText(activity.total),
                 DurationText(activity.self), std::to_string(activity.constructions),
                 std::to_string(activity.destructions), std::to_string(activity.errors)});
    }
    Section("Classes", table);
  }

  void WriteOperations() {
    Table timed({"operation", ">scopes", ">total", ">self", ">median", ">90%", ">99%", ">longest",
                 ">errors"});
    const auto& operations = summary.operations;
    for (const std::uint32_t i : Ranked(operations.size(), [&](std::uint32_t operation) {
           return operations[operation].scopes == 0 ? 0 : operations[operation].self + 1;
         })) {
      const Percentiles& percentiles = summary.percentiles[i];
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
      counted.Add({log.FullName(i), std::to_string(operations[i].records),
                   std::to_string(operations[i].errors)});
    }
    Section("Operations without scopes", counted);
  }

  void AddTimed(Table& table, std::uint32_t operation, std::vector<std::string> durations) {
    durations.insert(durations.begin(), {log.FullName(operation),
                                         std::to_string(summary.operations[operation].scopes)});
    durations.push_back(std::to_string(summary.operations[operation].errors));
    table.Add(std::move(durations));
  }

  void WriteErrorCounts() {
    Table errors({"error", "kind", ">count", ">first at"});
    Table dismissed({"dismissed by", ">count", ">first at"});
    for (const auto& [key, error] : summary.errors) {
      const auto& [code, text] = key;
      const Record& first = log.records[error.firstRecord];
      if (code == kDismissedError) {
        dismissed.Add(
            {log.FullName(first.operation), std::to_string(error.count), SecondsText(first.time)});
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
    for (const StateHistory& history : summary.histories) {
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
        states += std::string(log.Name(span.state)) + ' ' + DurationText(span.end - span.begin);
      }
      if (history.destroyed) {
        states += " -> destroyed";
      }
      const std::string_view name = log.Name(history.objectName);
      table.Add({std::string(log.Name(history.className)),
                 name == kUnknown ? AddressText(history.object) : std::string(name), states});
    }
    Section("States", table);
  }

  void WriteOpenScopes() {
    Table table({"never closed", "thread", "object", ">since", ">for"});
    for (const std::uint32_t i : summary.neverClosed) {
      const Scope& scope = scopes.all[i];
      const Record& entry = log.records[scope.entry];
      table.Add({log.FullName(entry.operation), log.ThreadLabel(entry.thread),
                 AddressText(entry.object), SecondsText(entry.time),
                 DurationText(scope.Duration())});
    }
    Section("Scopes that never closed", table);
    if (summary.neverOpened > 0) {
      output.Write('\n' + CountText(summary.neverOpened, "scope") +
                   " entered before the log's first record\n");
    }
    if (summary.strayExits > 0) {
      output.Write('\n' + CountText(summary.strayExits, "scope exit") +
                   " without an entry inside another scope\n");
    }
  }

  static constexpr std::size_t kShownStates = 8;

  const Log& log;
  const Scopes& scopes;
  Summary summary;
  std::size_t most;
  Output& output;
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

}  // namespace veltalog
