// SPDX-License-Identifier: MIT
#include "Scopes.h"

#include "EventCode.h"

#include <algorithm>
#include <unordered_map>

namespace veltalog {
namespace {

/// What entry and exit of one scope have in common.
struct Identity {
  explicit Identity(const Record& record) noexcept
      : object(record.object),
        operation(record.operation),
        value1(record.value1),
        value2(record.value2) {}

  bool operator==(const Identity&) const = default;

  std::uint64_t object;
  std::uint32_t operation;
  std::int32_t value1;
  std::int32_t value2;
};

struct IdentityHash {
  std::size_t operator()(const Identity& identity) const noexcept {
    std::uint64_t hash = identity.object;
    for (const std::uint32_t part :
         {identity.operation, static_cast<std::uint32_t>(identity.value1),
          static_cast<std::uint32_t>(identity.value2)}) {
      hash = (hash ^ part) * 0x9E3779B97F4A7C15U;
      hash ^= hash >> 32;
    }
    return static_cast<std::size_t>(hash);
  }
};

/// Finds the scopes of one thread.
class ThreadScopes {
 public:
  ThreadScopes(const Log& source, Micros logBegin, Micros logEnd)
      : log(source), begin(logBegin), end(logEnd) {}

  /// Appends the thread's scopes to `scopes`.
  void Find(const std::vector<std::uint32_t>& records, Scopes& scopes) {
    for (const std::uint32_t record : records) {
      if (log.records[record].code == kScopePush) {
        Enter(record);
      } else if (log.records[record].code == kScopePop) {
        Leave(record, scopes.strayExits);
      }
    }
    while (!open.empty()) {
      CloseInnermost(end, kNone, static_cast<std::uint32_t>(log.records.size()));
    }

    // The last of those without an entry is around all the others.
    const auto first = static_cast<std::uint32_t>(scopes.all.size());
    scopes.all.insert(scopes.all.end(), withoutEntry.rbegin(), withoutEntry.rend());
    scopes.all.insert(scopes.all.end(), entered.begin(), entered.end());
    Nest(records, first, scopes);
  }

 private:
  void Enter(std::uint32_t record) {
    Scope scope;
    scope.begin = log.records[record].time;
    scope.entry = record;
    open.push_back(static_cast<std::uint32_t>(entered.size()));
    entered.push_back(scope);
    ++openCount[Identity(log.records[record])];
  }

  void Leave(std::uint32_t record, std::uint64_t& strayExits) {
    const Record& pop = log.records[record];
    const Identity identity(pop);
    if (open.empty()) {
      Scope scope;
      scope.begin = begin;
      scope.end = pop.time;
      scope.exit = scope.lastRecord = record;
      withoutEntry.push_back(scope);
      return;
    }
    const auto count = openCount.find(identity);
    if (count == openCount.end() || count->second == 0) {
      ++strayExits;
      return;
    }
    while (Identity(log.records[entered[open.back()].entry]) != identity) {
      CloseInnermost(pop.time, kNone, record);
    }
    CloseInnermost(pop.time, record, record);
  }

  void CloseInnermost(Micros time, std::uint32_t exit, std::uint32_t lastRecord) {
    Scope& scope = entered[open.back()];
    open.pop_back();
    scope.end = std::max(time, scope.begin);
    scope.exit = exit;
    scope.lastRecord = lastRecord;
    --openCount[Identity(log.records[scope.entry])];
  }

  /// Tells each scope its place among the others, and each record its scope.
  static void Nest(const std::vector<std::uint32_t>& records, std::uint32_t first, Scopes& scopes) {
    std::uint32_t next = first;
    std::uint32_t innermost = kNone;
    const auto isNext = [&](std::uint32_t record) {
      if (next == scopes.all.size()) {
        return false;
      }
      const std::uint32_t entry = scopes.all[next].entry;
      return entry == kNone || entry == record;
    };
    for (const std::uint32_t record : records) {
      while (isNext(record)) {
        Scope& scope = scopes.all[next];
        scope.parent = innermost;
        scope.self = scope.Duration();
        if (innermost != kNone) {
          Scope& parent = scopes.all[innermost];
          scope.depth = parent.depth + 1;
          parent.self = AddSaturated(parent.self, -scope.Duration());
        }
        innermost = next++;
      }
      // What never closed ends together with the scope around it, which is the one to name.
      while (innermost != kNone && scopes.all[innermost].lastRecord == record &&
             scopes.all[innermost].exit != record) {
        innermost = scopes.all[innermost].parent;
      }
      scopes.around[record] = innermost;
      if (innermost != kNone && scopes.all[innermost].lastRecord == record) {
        innermost = scopes.all[innermost].parent;
      }
    }
    // A damaged dump's times may run backwards.
    for (next = first; next < scopes.all.size(); ++next) {
      scopes.all[next].self = std::max<Micros>(scopes.all[next].self, 0);
    }
  }

  const Log& log;
  Micros begin;
  Micros end;
  std::vector<Scope> entered;
  std::vector<Scope> withoutEntry;
  std::vector<std::uint32_t> open;  // in `entered`, innermost last
  std::unordered_map<Identity, std::uint32_t, IdentityHash> openCount;
};

}  // namespace

Scopes FindScopes(const Log& log) {
  Scopes scopes;
  scopes.around.assign(log.records.size(), kNone);
  const Micros begin = log.Begin();
  const Micros end = log.End();
  for (const auto& records : log.RecordsByThread()) {
    scopes.firstOfThread.push_back(static_cast<std::uint32_t>(scopes.all.size()));
    ThreadScopes(log, begin, end).Find(records, scopes);
  }
  scopes.firstOfThread.push_back(static_cast<std::uint32_t>(scopes.all.size()));
  return scopes;
}

}  // namespace veltalog
