// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace Velta::Text {

/// Integers as text in the "C" locale, digit for digit what a stream under it writes.
template <std::integral T>
void FormatDecimal(T value, MString& out) {
  char digits[24];
  const std::to_chars_result result = std::to_chars(std::begin(digits), std::end(digits), value);
  out.assign(std::begin(digits), result.ptr);
}

template <std::integral T>
MString DecimalText(T value) {
  MString text;
  FormatDecimal(value, text);
  return text;
}

/// All lower-case hexadecimal digits of the type and the letter "h": 42 gives 0000002ah.
template <std::unsigned_integral T>
MString HexadecimalText(T value) {
  MString text(2 * sizeof(T), L'0');
  for (std::size_t i = text.size(); i-- > 0; value >>= 4) {
    text[i] = L"0123456789abcdef"[value & 0xF];
  }
  return text + L'h';
}

}  // namespace Velta::Text
