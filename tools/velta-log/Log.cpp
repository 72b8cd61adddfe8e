// SPDX-License-Identifier: MIT
#include "Log.h"

#include <algorithm>
#include <string>

namespace Velta::Logging {

// Not the first and the last record: a thread takes its place in the ring before it reads the
// clock.
Micros Log::Begin() const noexcept {
  return records.empty() ? 0 : std::ranges::min(records, {}, &Record::time).time;
}

Micros Log::End() const noexcept {
  return records.empty() ? 0 : std::ranges::max(records, {}, &Record::time).time;
}

std::string Log::FullName(std::uint32_t operation) const {
  std::string name(ClassName(operation));
  name += '.';
  name += OperationName(operation);
  return name;
}

std::string Log::ErrorCode(const Record& record) const {
  std::string code = FullName(record.operation);
  code += ':';
  code += Name(record.subject);
  return code;
}

std::string Log::ThreadName(std::uint32_t thread) const {
  if (threads[thread].id == 0) {
    return "no thread";
  }
  const std::string_view name = Name(threads[thread].name);
  return name == kUnknown ? "thread " + std::to_string(threads[thread].id) : std::string(name);
}

std::string Log::ThreadLabel(std::uint32_t thread) const {
  std::string label = ThreadName(thread);
  if (threads[thread].hasNamesake) {
    label += " (" + std::to_string(threads[thread].id) + ')';
  }
  return label;
}

std::vector<std::vector<std::uint32_t>> Log::RecordsByThread() const {
  std::vector<std::vector<std::uint32_t>> byThread(threads.size());
  for (std::uint32_t i = 0; i < records.size(); ++i) {
    byThread[records[i].thread].push_back(i);
  }
  return byThread;
}

std::uint32_t LogBuilder::FindOperation(std::string_view className, std::string_view name,
                                        bool isUnnamed) {
  const Operation operation{log_.names.Intern(className), log_.names.Intern(name), isUnnamed};
  const auto [found, isNew] =
      operationNumbers_.try_emplace(std::uint64_t{operation.className} << 32 | operation.name,
                                    static_cast<std::uint32_t>(log_.operations.size()));
  if (isNew) {
    log_.operations.push_back(operation);
  }
  return found->second;
}

std::uint32_t LogBuilder::FindThread(std::int32_t id, std::string_view name) {
  const auto [found, isNew] =
      threadNumbers_.try_emplace(id, static_cast<std::uint32_t>(log_.threads.size()));
  if (isNew) {
    log_.threads.push_back({id, log_.names.Intern(name)});
  } else if (name != kUnknown) {
    log_.threads[found->second].name = log_.names.Intern(name);
  }
  return found->second;
}

void LogBuilder::FindNamesakes() {
  const NameId unknown = log_.names.Intern(kUnknown);
  std::unordered_map<NameId, std::uint32_t> counts;
  for (const Thread& thread : log_.threads) {
    ++counts[thread.name];
  }
  for (Thread& thread : log_.threads) {
    thread.hasNamesake = thread.name != unknown && counts[thread.name] > 1;
  }
}

}  // namespace Velta::Logging
