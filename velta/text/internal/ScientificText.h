// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MLocale.h"
#include "velta/text/MString.h"
#include "velta/text/internal/Rounding.h"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>

namespace Velta::Text {

/// A number in scientific notation, character for character what printf's "%.<n>e" gives under the
/// locale, but without its cost where the standard's own conversion gives the same.
inline void FormatScientific(const MLocale& locale, double value, int digitsAfterPoint,
                             MString& out) {
  // Each C runtime has its own words for what is not finite; and it may round in another direction.
  if (!std::isfinite(value) || !RoundsToNearest()) {
    locale.Format(out, L"%.*e", digitsAfterPoint, value);
    return;
  }
  char text[64];
  const std::to_chars_result result = std::to_chars(
      std::begin(text), std::end(text), value, std::chars_format::scientific, digitsAfterPoint);
  out.assign(std::begin(text), result.ptr);
  const std::size_t point = out.find(L'.');
  if (point != MString::npos) {
    out[point] = locale.GetDecimalSeparator();
  }
}

}  // namespace Velta::Text
