// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// The log's key of a name: the low 32 bits of its address, so that an event carries it for
/// nothing.
[[nodiscard]] inline std::uint32_t NameKey(const void* name) noexcept {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(name));
}
