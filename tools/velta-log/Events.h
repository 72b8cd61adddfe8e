// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/internal/EventTable.h"

#include <cstdint>
#include <string_view>

namespace Velta::Logging {

/// The name that a dump gives a code.
[[nodiscard]] constexpr std::string_view EventName(std::int32_t code) noexcept {
  return EventOf(code).name;
}

/// Whether the text begins with an event's name and a blank, as each record's does.
[[nodiscard]] bool BeginsWithEvent(std::string_view text) noexcept;

/// Whether the event carries an error's name: the four kinds of errors, and warnings.
[[nodiscard]] constexpr bool NamesAnError(std::int32_t code) noexcept {
  return EventOf(code).subject == Subject::kError;
}

/// Whether something failed: an error raised, converted or returned, and not yet dismissed.
[[nodiscard]] constexpr bool IsError(std::int32_t code) noexcept {
  return EventOf(code).severity == Severity::kError;
}

/// "error", "warning", "info" or "debug".
[[nodiscard]] std::string_view Level(std::int32_t code) noexcept;

/// What the event's subject is: "error", "state" or "message"; empty if it has none with a name.
[[nodiscard]] std::string_view SubjectKey(std::int32_t code) noexcept;

}  // namespace Velta::Logging
