// SPDX-License-Identifier: MIT
#pragma once

#include <cfloat>

namespace Velta::Text {

/// Whether this thread's arithmetic rounds to nearest, as the standard's own conversions always do
/// and the C runtime's only then. `std::fegetround` may cost as much as a short number.
inline bool RoundsToNearest() noexcept {
  const volatile double tiny = DBL_MIN;  // volatile: the compiler would round to nearest itself
  const double value = tiny;
  return 1.0 + value == 1.0 - value;
}

}  // namespace Velta::Text
