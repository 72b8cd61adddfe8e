// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <cstdint>
#include <vector>

namespace Velta::Logging {

/// The time that an operation ran, from the entry and the exit in the log.
///
/// Where the ring has overwritten the entry, the scope begins with the log; where the exit is
/// missing, it ends with the scope around it, or with the log.
struct Scope {
  Micros begin = 0;
  Micros end = 0;
  Micros self = 0;              ///< without its direct inner scopes
  std::uint32_t entry = kNone;  ///< the record that opened it
  std::uint32_t exit = kNone;   ///< the record that closed it
  /// The record with which it ends; the number of records if it ends with the log.
  std::uint32_t lastRecord = 0;
  std::uint32_t depth = 0;  ///< 0 for an outermost scope
  std::uint32_t parent = kNone;

  [[nodiscard]] Micros Duration() const noexcept { return end - begin; }

  /// Whether both ends are in the log, so that the duration is the real one.
  [[nodiscard]] bool IsWhole() const noexcept { return entry != kNone && exit != kNone; }

  /// The record that holds its operation, object and thread.
  [[nodiscard]] std::uint32_t IdentifyingRecord() const noexcept {
    return entry != kNone ? entry : exit;
  }
};

/// All scopes of a log.
struct Scopes {
  /// Thread by thread, in the order of their beginning: a scope comes before those inside it.
  std::vector<Scope> all;

  /// Where each thread's scopes begin in `all`; one more entry than threads.
  std::vector<std::uint32_t> firstOfThread;

  /// The innermost scope in which a record was written, or `kNone`. The entry and the exit of a
  /// scope belong to it.
  std::vector<std::uint32_t> around;

  /// Exits without an entry inside another scope; each is ignored.
  std::uint64_t strayExits = 0;
};

/// Pairs entries with exits, per thread, by operation, object and values.
[[nodiscard]] Scopes FindScopes(const Log& log);

}  // namespace Velta::Logging
