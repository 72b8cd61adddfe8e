// SPDX-License-Identifier: MIT
#include "Scopes.h"

#include "Events.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

namespace Velta::Logging {
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
  ThreadScopes(const Log& log, Micros begin, Micros end) : log_(log), begin_(begin), end_(end) {}

  /// Appends the thread's scopes to `scopes`.
  void Find(const std::vector<std::uint32_t>& records, Scopes& scopes) {
    for (const std::uint32_t record : records) {
      if (log_.records[record].code == kScopePush) {
        Enter(record);
      } else if (log_.records[record].code == kScopePop) {
        Leave(record, scopes.strayExits);
      }
    }
    while (!open_.empty()) {
      CloseInnermost(end_, kNone, static_cast<std::uint32_t>(log_.records.size()));
    }

    // The last of those without an entry is around all the others.
    const auto first = static_cast<std::uint32_t>(scopes.all.size());
    scopes.all.insert(scopes.all.end(), withoutEntry_.rbegin(), withoutEntry_.rend());
    scopes.all.insert(scopes.all.end(), entered_.begin(), entered_.end());
    Nest(records, first, scopes);
  }

 private:
  void Enter(std::uint32_t record) {
    Scope scope;
    scope.begin = log_.records[record].time;
    scope.entry = record;
    open_.push_back(static_cast<std::uint32_t>(entered_.size()));
    entered_.push_back(scope);
    ++openCount_[Identity(log_.records[record])];
  }

  void Leave(std::uint32_t record, std::uint64_t& strayExits) {
    const Record& pop = log_.records[record];
    const Identity identity(pop);
    if (open_.empty()) {
      Scope scope;
      scope.begin = begin_;
      scope.end = pop.time;
      scope.exit = scope.lastRecord = record;
      withoutEntry_.push_back(scope);
      return;
    }
    const auto count = openCount_.find(identity);
    if (count == openCount_.end() || count->second == 0) {
      ++strayExits;
      return;
    }
    while (Identity(log_.records[entered_[open_.back()].entry]) != identity) {
      CloseInnermost(pop.time, kNone, record);
    }
    CloseInnermost(pop.time, record, record);
  }

  void CloseInnermost(Micros time, std::uint32_t exit, std::uint32_t lastRecord) {
    Scope& scope = entered_[open_.back()];
    open_.pop_back();
    scope.end = std::max(time, scope.begin);
    scope.exit = exit;
    scope.lastRecord = lastRecord;
    --openCount_[Identity(log_.records[scope.entry])];
  }

  /// Finds each scope's parent, depth and own time, and each record's scope.
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
      // A scope that never closed ends with the scope around it; the record belongs to that one.
      while (innermost != kNone && scopes.all[innermost].lastRecord == record &&
             scopes.all[innermost].exit != record) {
        innermost = scopes.all[innermost].parent;
      }
      scopes.around[record] = innermost;
      if (innermost != kNone && scopes.all[innermost].lastRecord == record) {
        innermost = scopes.all[innermost].parent;
      }
    }
    // Times may run backwards in a damaged dump.
    for (next = first; next < scopes.all.size(); ++next) {
      scopes.all[next].self = std::max<Micros>(scopes.all[next].self, 0);
    }
  }

  const Log& log_;
  Micros begin_;
  Micros end_;
  std::vector<Scope> entered_;
  std::vector<Scope> withoutEntry_;
  std::vector<std::uint32_t> open_;  // indexes in `entered_`, innermost last
  std::unordered_map<Identity, std::uint32_t, IdentityHash> openCount_;
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

}  // namespace Velta::Logging
