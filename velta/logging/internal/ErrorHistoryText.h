// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/internal/ErrorRing.h"

#include <iosfwd>

namespace Velta::Logging {

/// Writes a ring as the text of docs/formats/errors.md, without memory of its own, and flushes it.
///
/// @return false when the stream failed or threw; it is then left in a bad state
[[nodiscard]] bool WriteErrorHistory(const ErrorRing& ring, std::ostream& stream) noexcept;

}  // namespace Velta::Logging
