// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <stdexcept>

namespace Velta::Errors {

/// Refuses to grow a chain past the most that its list can hold, in the words that hosts know,
/// which differ between the lists of the C++ runtimes.
inline void RequireRoomInChain(std::size_t count, std::size_t maximum) {
  if (count >= maximum) {
    throw std::length_error("list<T> too long");
  }
}

}  // namespace Velta::Errors
