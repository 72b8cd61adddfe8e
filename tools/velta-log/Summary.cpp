// SPDX-License-Identifier: MIT
#include "Summary.h"

#include "Events.h"

#include <algorithm>
#include <cstddef>

namespace Velta::Logging {
namespace {

/// Counts how many scopes of each kind are open, to find the outermost ones.
class OutermostFilter {
 public:
  explicit OutermostFilter(std::size_t kinds) : open_(kinds, 0) {}

  bool Enter(std::uint32_t kind) { return open_[kind]++ == 0; }
  void Leave(std::uint32_t kind) { --open_[kind]; }

 private:
  std::vector<std::uint32_t> open_;
};

void CountRecord(Activity& activity, const Record& record) {
  ++activity.records;
  if (IsError(record.code)) {
    ++activity.errors;
  }
  if (record.code == kConstruction) {
    ++activity.constructions;
  }
  if (record.code == kDestruction) {
    ++activity.destructions;
  }
}

void CountRecords(const Log& log, Summary& summary) {
  std::map<std::int32_t, std::uint64_t> codes;
  for (std::uint32_t i = 0; i < log.records.size(); ++i) {
    const Record& record = log.records[i];
    ++codes[record.code];
    ThreadActivity& thread = summary.threads[record.thread];
    if (thread.records++ == 0) {
      thread.begin = record.time;
    }
    thread.end = record.time;
    if (IsError(record.code)) {
      ++thread.errors;
    }
    CountRecord(summary.operations[record.operation], record);
    if (NamesAnError(record.code)) {
      ErrorCount& error = summary.errors[{record.code, log.ErrorCode(record)}];
      if (error.count++ == 0) {
        error.firstRecord = i;
      }
    }
  }
  for (const auto& [code, count] : codes) {
    summary.events[std::string(EventName(code))] += count;
  }
  for (std::size_t i = 0; i < log.operations.size(); ++i) {
    Activity& ofClass = summary.classes[log.operations[i].className];
    const Activity& operation = summary.operations[i];
    ofClass.records += operation.records;
    ofClass.errors += operation.errors;
    ofClass.constructions += operation.constructions;
    ofClass.destructions += operation.destructions;
  }
}

void Add(Micros& sum, Micros part) { sum = AddSaturated(sum, part); }

void CountScopes(const Log& log, const Scopes& scopes, Summary& summary) {
  OutermostFilter operations(log.operations.size());
  OutermostFilter classes(log.names.Size());
  std::vector<std::uint32_t> open;  // operations of the scopes around the current one
  const auto leaveUntil = [&](std::size_t depth) {
    for (; open.size() > depth; open.pop_back()) {
      operations.Leave(open.back());
      classes.Leave(log.operations[open.back()].className);
    }
  };
  for (std::uint32_t i = 0; i < scopes.all.size(); ++i) {
    const Scope& scope = scopes.all[i];
    const Record& record = log.records[scope.IdentifyingRecord()];
    leaveUntil(scope.depth);
    open.push_back(record.operation);

    const NameId className = log.operations[record.operation].className;
    Activity& operation = summary.operations[record.operation];
    Activity& ofClass = summary.classes[className];
    if (operations.Enter(record.operation)) {
      Add(operation.total, scope.Duration());
    }
    if (classes.Enter(className)) {
      Add(ofClass.total, scope.Duration());
    }
    for (Activity* const activity : {&operation, &ofClass}) {
      ++activity->scopes;
      Add(activity->self, scope.self);
    }
    ThreadActivity& thread = summary.threads[record.thread];
    ++thread.scopes;
    if (scope.depth == 0) {
      Add(thread.inScopes, scope.Duration());
    }
    if (scope.exit == kNone) {
      summary.neverClosed.push_back(i);
    }
    if (scope.entry == kNone) {
      ++summary.neverOpened;
    }
  }
}

std::vector<Percentiles> MeasureScopes(const Log& log, const Scopes& scopes) {
  std::vector<std::vector<Micros>> durations(log.operations.size());
  for (const Scope& scope : scopes.all) {
    if (scope.IsWhole()) {
      durations[log.records[scope.entry].operation].push_back(scope.Duration());
    }
  }
  std::vector<Percentiles> measured(durations.size());
  for (std::size_t i = 0; i < durations.size(); ++i) {
    std::vector<Micros>& sorted = durations[i];
    if (sorted.empty()) {
      continue;
    }
    std::ranges::sort(sorted);
    const auto rank = [&](std::size_t percent) {
      return sorted[(sorted.size() * percent + 99) / 100 - 1];
    };
    measured[i] = {sorted.size(), rank(50), rank(90), rank(99), sorted.back()};
  }
  return measured;
}

}  // namespace

Summary Summarise(const Log& log, const Scopes& scopes) {
  Summary summary;
  summary.threads.resize(log.threads.size());
  summary.operations.resize(log.operations.size());
  CountRecords(log, summary);
  CountScopes(log, scopes, summary);
  summary.percentiles = MeasureScopes(log, scopes);
  summary.histories = FindStateHistories(log);
  summary.strayExits = scopes.strayExits;
  return summary;
}

}  // namespace Velta::Logging
