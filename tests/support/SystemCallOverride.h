// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

/// Puts a function in the place of one system call until its scope ends:
/// `const SystemCallOverride refuse(systemCalls.beginThread, [](...) { return ...; });`
template <class Function>
class SystemCallOverride {
 public:
  SystemCallOverride(std::atomic<Function>& overriddenEntry, Function replacement)
      : entry(overriddenEntry), original(entry.exchange(replacement)) {}
  SystemCallOverride(const SystemCallOverride&) = delete;
  SystemCallOverride& operator=(const SystemCallOverride&) = delete;
  ~SystemCallOverride() { entry.store(original); }

 private:
  std::atomic<Function>& entry;
  Function original;
};

template <class Function, class Replacement>
SystemCallOverride(std::atomic<Function>&, Replacement) -> SystemCallOverride<Function>;
