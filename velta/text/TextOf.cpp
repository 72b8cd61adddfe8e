// SPDX-License-Identifier: MIT
#include "velta/text/TextOf.h"

#include "velta/text/internal/DecimalText.h"

#include <charconv>
#include <iterator>

namespace {

template <class T>
MString ShortestText(T value) {
  char digits[32];
  const std::to_chars_result result = std::to_chars(std::begin(digits), std::end(digits), value);
  return MString(std::begin(digits), result.ptr);
}

}  // namespace

MString Velta::Text::SignedText(std::int64_t value) { return DecimalText(value); }

MString Velta::Text::UnsignedText(std::uint64_t value) { return DecimalText(value); }

MString Velta::Text::RealText(float value) { return ShortestText(value); }

MString Velta::Text::RealText(double value) { return ShortestText(value); }
