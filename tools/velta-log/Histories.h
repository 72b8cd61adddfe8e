// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <cstdint>
#include <vector>

namespace Velta::Logging {

/// The time that an object was in one state.
struct StateSpan {
  Micros begin;
  Micros end;
  NameId state;
  std::uint32_t record;  ///< the state change
};

/// The states of one object, as one of its classes names them.
struct StateHistory {
  std::uint64_t object;
  NameId className;
  NameId objectName;
  std::vector<StateSpan> spans;
  bool destroyed = false;  ///< else the last state lasted until the log's end
};

/// All state histories, in the order in which they begin. An address that is used again after a
/// destruction is another object.
[[nodiscard]] std::vector<StateHistory> FindStateHistories(const Log& log);

/// A failure in the log.
struct ErrorEvent {
  std::uint32_t record;
  std::uint32_t cause = kNone;  ///< for a dismissed error: the last error of its thread, if any
};

/// Errors and warnings, dismissed ones as well, in the order of the log.
[[nodiscard]] std::vector<ErrorEvent> FindErrors(const Log& log);

}  // namespace Velta::Logging
