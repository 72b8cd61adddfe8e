// SPDX-License-Identifier: MIT
#include "Histories.h"

#include "Events.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

namespace Velta::Logging {

std::vector<StateHistory> FindStateHistories(const Log& log) {
  std::vector<StateHistory> histories;
  std::map<std::pair<std::uint64_t, NameId>, std::size_t> current;
  for (std::uint32_t i = 0; i < log.records.size(); ++i) {
    const Record& record = log.records[i];
    if (record.code != kStateChange && record.code != kDestruction) {
      continue;
    }
    const std::pair owner(record.object, log.operations[record.operation].className);
    const auto found = current.find(owner);
    if (found != current.end()) {
      StateSpan& last = histories[found->second].spans.back();
      last.end = std::max(last.begin, record.time);
    }
    if (record.code == kDestruction) {
      if (found == current.end()) {
        continue;
      }
      histories[found->second].destroyed = true;
      current.erase(found);
      continue;
    }
    if (found == current.end()) {
      current.emplace(owner, histories.size());
      histories.push_back({record.object, owner.second, record.objectName, {}});
    }
    StateHistory& history = found == current.end() ? histories.back() : histories[found->second];
    history.spans.push_back({record.time, record.time, record.subject, i});
  }
  const Micros end = log.End();
  for (const auto& [owner, index] : current) {
    histories[index].spans.back().end = end;
  }
  return histories;
}

std::vector<ErrorEvent> FindErrors(const Log& log) {
  std::vector<ErrorEvent> errors;
  std::vector<std::uint32_t> lastOfThread(log.threads.size(), kNone);
  for (std::uint32_t i = 0; i < log.records.size(); ++i) {
    const Record& record = log.records[i];
    if (!NamesAnError(record.code)) {
      continue;
    }
    std::uint32_t& last = lastOfThread[record.thread];
    errors.push_back({i, record.code == kDismissedError ? last : kNone});
    if (IsError(record.code)) {
      last = i;
    }
  }
  return errors;
}

}  // namespace Velta::Logging
