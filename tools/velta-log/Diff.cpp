// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Events.h"
#include "Files.h"
#include "Scopes.h"
#include "Text.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace Velta::Logging {
namespace {

/// What a run does, in words that another run of the same program would use: no addresses, ids or
/// times.
using Behaviours = std::map<std::string, std::uint64_t>;

struct Run {
  std::set<std::string> threads;
  Behaviours events;   ///< "Root_error Class.Operation:Error"
  Behaviours nesting;  ///< "Inner.Operation in Outer.Operation"
};

/// Keys differ from run to run, so unnamed points of a class are all alike.
std::string FullName(const Log& log, std::uint32_t operation) {
  if (!log.operations[operation].isUnnamed) {
    return log.FullName(operation);
  }
  std::string name(log.ClassName(operation));
  name += '.';
  name += kUnnamed;
  return name;
}

std::string Describe(const Log& log, const Record& record) {
  std::string text(EventName(record.code));
  text += ' ';
  text += FullName(log, record.operation);
  if (record.code == kStateChange) {
    text += " to ";
    text += log.Name(record.subject);
  } else if (NamesAnError(record.code) && record.code != kDismissedError) {
    text += ':';
    text += log.Name(record.subject);
  } else if (record.code == kMessageSend) {
    text += ' ';
    text += log.Name(record.subject);
  }
  return text;
}

Run Observe(const Log& log) {
  Run run;
  for (std::uint32_t i = 0; i < log.threads.size(); ++i) {
    // Ids differ from run to run, so threads without a name are all alike.
    run.threads.insert(log.Name(log.threads[i].name) == kUnknown ? "a thread without a name"
                                                                 : log.ThreadName(i));
  }
  // By numbers first: a log repeats a few events many times, and text is slow.
  std::map<std::tuple<std::int32_t, std::uint32_t, NameId>, std::pair<const Record*, std::uint64_t>>
      kinds;
  for (const Record& record : log.records) {
    if (record.code == kScopePop) {
      continue;  // its push was counted
    }
    auto& [first, count] = kinds[{record.code, record.operation, record.subject}];
    if (first == nullptr) {
      first = &record;
    }
    ++count;
  }
  for (const auto& [kind, seen] : kinds) {
    run.events[Describe(log, *seen.first)] += seen.second;
  }

  std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint64_t> pairs;
  const Scopes scopes = FindScopes(log);
  for (const Scope& scope : scopes.all) {
    if (scope.parent == kNone) {
      continue;
    }
    ++pairs[{log.records[scope.IdentifyingRecord()].operation,
             log.records[scopes.all[scope.parent].IdentifyingRecord()].operation}];
  }
  for (const auto& [pair, count] : pairs) {
    run.nesting[FullName(log, pair.first) + " in " + FullName(log, pair.second)] += count;
  }
  return run;
}

void WriteOnly(std::string_view title, const Behaviours& of, const Behaviours& notOf,
               Output& output) {
  Table table({">count", "what"});
  for (const auto& [what, count] : of) {
    if (notOf.find(what) == notOf.end()) {
      table.Add({std::to_string(count), what});
    }
  }
  if (table.IsEmpty()) {
    return;
  }
  output.Write(title);
  output.Write("\n");
  table.Print(output, kAll);
}

Behaviours AsBehaviours(const std::set<std::string>& names) {
  Behaviours behaviours;
  for (const std::string& name : names) {
    behaviours[name] = 1;
  }
  return behaviours;
}

void WriteChanged(const Behaviours& first, const Behaviours& second, Output& output) {
  struct Change {
    double factor;
    std::vector<std::string> cells;
  };
  std::vector<Change> changes;
  for (const auto& [what, before] : first) {
    const auto found = second.find(what);
    if (found == second.end() || found->second == before) {
      continue;
    }
    const std::uint64_t after = found->second;
    const double factor = static_cast<double>(after) / static_cast<double>(before);
    changes.push_back({std::max(factor, 1 / factor),
                       {std::to_string(before), std::to_string(after), FactorText(factor), what}});
  }
  if (changes.empty()) {
    return;
  }
  std::ranges::stable_sort(changes, std::ranges::greater(), &Change::factor);
  Table table({">first", ">second", ">times", "what"});
  for (Change& change : changes) {
    table.Add(std::move(change.cells));
  }
  output.Write("More or less often\n");
  table.Print(output, kAll);
}

}  // namespace

void WriteDiff(const Log& first, const Log& second, Output& output) {
  const Run a = Observe(first);
  const Run b = Observe(second);
  WriteOnly("Threads of the first only", AsBehaviours(a.threads), AsBehaviours(b.threads), output);
  WriteOnly("Threads of the second only", AsBehaviours(b.threads), AsBehaviours(a.threads), output);
  WriteOnly("Events of the first only", a.events, b.events, output);
  WriteOnly("Events of the second only", b.events, a.events, output);
  WriteOnly("Calls in the first only", a.nesting, b.nesting, output);
  WriteOnly("Calls in the second only", b.nesting, a.nesting, output);
  WriteChanged(a.events, b.events, output);
}

}  // namespace Velta::Logging
