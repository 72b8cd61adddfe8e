// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

namespace veltalog {

// The codes that the tool treats specially; a dump may hold any other number.
inline constexpr std::int32_t kRootError = -105;
inline constexpr std::int32_t kCascadeError = -104;
inline constexpr std::int32_t kDismissedError = -103;
inline constexpr std::int32_t kReturnError = -102;
inline constexpr std::int32_t kWarning = -101;
inline constexpr std::int32_t kStateChange = -25;
inline constexpr std::int32_t kMessageSend = -21;
inline constexpr std::int32_t kConstruction = -14;
inline constexpr std::int32_t kDestruction = -13;
inline constexpr std::int32_t kScopePop = -8;
inline constexpr std::int32_t kScopePush = -7;
inline constexpr std::int32_t kTimingPoint = 0;

/// The name that a dump gives a code; "unknown event" for a code that the log does not know.
[[nodiscard]] std::string_view EventName(std::int32_t code) noexcept;

/// Whether an event's name and a blank stand first, as in each record's text.
[[nodiscard]] bool BeginsWithEvent(std::string_view text) noexcept;

/// Whether the event carries an error's name: the four kinds of errors, and warnings.
[[nodiscard]] constexpr bool NamesAnError(std::int32_t code) noexcept {
  return code >= kRootError && code <= kWarning;
}

/// Whether something failed: an error raised, converted or returned, and not yet dismissed.
[[nodiscard]] constexpr bool IsError(std::int32_t code) noexcept {
  return code == kRootError || code == kCascadeError || code == kReturnError;
}

}  // namespace veltalog
