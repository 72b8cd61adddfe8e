// SPDX-License-Identifier: MIT
#pragma once

#include <new>
#include <utility>

namespace Velta::Errors {

/// A new object, or null when it or what it copies cannot be allocated.
template <class T, class... Arguments>
T* NewOrNull(Arguments&&... arguments) noexcept {
  try {
    return new (std::nothrow) T(std::forward<Arguments>(arguments)...);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace Velta::Errors
