// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <optional>
#include <string>
#include <string_view>

namespace Velta::Logging {

/// Reads "Sat Nov 21 09:44:16 2026" as microseconds since 1970 in the same, unknown time zone.
[[nodiscard]] std::optional<Micros> ParseWallClock(std::string_view text);

/// The reverse, as "2026-11-21T09:44:16.923000".
[[nodiscard]] std::string FormatWallClock(Micros time);

}  // namespace Velta::Logging
