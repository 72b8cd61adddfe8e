// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

/// The events of the log: the library and the tools that read dumps know them from here.
///
/// Standard library only, and nothing to link: a tool may include it alone.
namespace Velta::Logging {

/// The code that a record carries. It stands in dumps, so it never changes. A record may carry any
/// other number.
enum EventCode : std::int32_t {
  kLogModuleAdded = -202,
  kLogModuleRemoved = -201,
  kRootError = -105,
  kCascadeError = -104,
  kDismissedError = -103,
  kReturnError = -102,
  kWarning = -101,
  kStateChange = -25,
  kNotify = -23,
  kUpdate = -22,
  kMessageSend = -21,
  kMessageReceive = -20,
  kConstruction = -14,
  kDestruction = -13,
  kScopePop = -8,
  kScopePush = -7,
  kPlainTimingPoint = -1,
  kTimingPoint = 0,
};

/// What a record's values mean, and so what its text shows of them.
enum class Subject : std::uint8_t {
  kNothing,
  kError,    ///< value 1 is the key of an error's name
  kState,    ///< value 1 is a state of the class
  kMessage,  ///< value 1 is a message
  kValues,   ///< both are numbers of the caller's choice
};

/// How much an event asks for attention.
enum class Severity : std::uint8_t {
  kDebug,
  kInfo,
  kWarning,  ///< worth a look: warned of, or failed and dismissed
  kError,    ///< failed: an error raised, converted or returned
};

struct Event {
  EventCode code;
  std::string_view name;
  Subject subject;
  Severity severity;
  std::uint32_t kinds;  ///< bit n: the `MFlowEventKind` n is logged as this event
};

/// A set of kinds, for `Event::kinds`.
[[nodiscard]] constexpr std::uint32_t Kinds(std::initializer_list<unsigned> kinds) noexcept {
  std::uint32_t set = 0;
  for (const unsigned kind : kinds) {
    set |= 1U << kind;
  }
  return set;
}

inline constexpr Event kEvents[] = {
    {kLogModuleAdded, "Log_module_added", Subject::kNothing, Severity::kInfo, Kinds({})},
    {kLogModuleRemoved, "Log_module_removed", Subject::kNothing, Severity::kInfo, Kinds({})},
    {kRootError, "Root_error", Subject::kError, Severity::kError, Kinds({1})},
    {kCascadeError, "Cascade_error", Subject::kError, Severity::kError, Kinds({2})},
    {kDismissedError, "Dismissed_error", Subject::kError, Severity::kWarning, Kinds({3})},
    {kConstruction, "Construction", Subject::kNothing, Severity::kInfo, Kinds({4})},
    {kDestruction, "Destruction", Subject::kNothing, Severity::kInfo, Kinds({5})},
    {kStateChange, "State_change", Subject::kState, Severity::kInfo, Kinds({6})},
    {kNotify, "Notify", Subject::kNothing, Severity::kInfo, Kinds({})},
    {kUpdate, "Update", Subject::kNothing, Severity::kInfo, Kinds({})},
    {kMessageSend, "Message_send", Subject::kMessage, Severity::kInfo, Kinds({12})},
    {kMessageReceive, "Message_receive", Subject::kNothing, Severity::kInfo, Kinds({13})},
    {kScopePop, "Scope_pop", Subject::kNothing, Severity::kDebug, Kinds({8})},
    {kScopePush, "Scope_push", Subject::kNothing, Severity::kDebug, Kinds({7})},
    {kPlainTimingPoint, "Timing_point", Subject::kNothing, Severity::kInfo, Kinds({})},
    {kTimingPoint, "Timing_point", Subject::kValues, Severity::kDebug, Kinds({0, 9})},
    {kReturnError, "Return_error", Subject::kError, Severity::kError, Kinds({10})},
    {kWarning, "Warning", Subject::kError, Severity::kWarning, Kinds({11})},
};

/// Stands for every code that the table does not hold; its own code means nothing.
inline constexpr Event kUnknownEvent = {EventCode{}, "unknown event", Subject::kNothing,
                                        Severity::kInfo, Kinds({})};

/// The event of a code; `kUnknownEvent` for one that the table does not hold.
[[nodiscard]] constexpr const Event& EventOf(std::int32_t code) noexcept {
  for (const Event& event : kEvents) {
    if (event.code == code) {
      return event;
    }
  }
  return kUnknownEvent;
}

}  // namespace Velta::Logging
