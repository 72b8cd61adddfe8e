// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Velta::Logging {

/// The log's key of a name: the low 32 bits of its address, which an event gets without a look-up.
[[nodiscard]] inline std::uint32_t NameKey(const void* name) noexcept {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(name));
}

}  // namespace Velta::Logging
