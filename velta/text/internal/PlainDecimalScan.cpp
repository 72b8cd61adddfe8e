// SPDX-License-Identifier: MIT
#include "velta/text/internal/PlainDecimalScan.h"

#include "velta/text/internal/Rounding.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <system_error>

namespace Velta::Text {

namespace {

bool IsDigit(wchar_t character) noexcept { return character >= L'0' && character <= L'9'; }

bool IsBlank(wchar_t character) noexcept {
  return character == L' ' || (character >= L'\t' && character <= L'\r');
}

/// Appends the digits that `text` begins with to `number`, which wraps when they are too many.
/// @return what follows them
const wchar_t* ScanDigits(const wchar_t* text, std::uint64_t* number) noexcept {
  for (; IsDigit(*text); ++text) {
    *number = *number * 10 + static_cast<std::uint64_t>(*text - L'0');
  }
  return text;
}

constexpr std::ptrdiff_t kMostDigits = 19;  // of an unsigned 64-bit number, whatever they are
constexpr std::ptrdiff_t kMostExponentDigits = 9;
constexpr std::uint64_t kMostExact = std::uint64_t{1} << DBL_MANT_DIG;

// All the powers of ten that a double holds exactly.
constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr std::int64_t kMostPower = 22;

// One operation on two exact numbers rounds once, and so correctly.
static_assert(FLT_EVAL_METHOD == 0, "a wider intermediate result would be rounded twice");

std::optional<double> ConvertExactly(std::uint64_t digits, std::int64_t exponent) noexcept {
  if (digits > kMostExact || exponent < -kMostPower || exponent > kMostPower) {
    return std::nullopt;
  }
  const auto value = static_cast<double>(digits);
  return exponent < 0 ? value / kPowersOfTen[-exponent] : value * kPowersOfTen[exponent];
}

std::optional<double> ConvertAny(const wchar_t* begin, const wchar_t* end,
                                 wchar_t decimalSeparator) noexcept {
  constexpr std::ptrdiff_t kCapacity = 64;  // no double needs more than 17 digits
  if (end - begin > kCapacity) {
    return std::nullopt;
  }
  char characters[kCapacity];
  const char* const last =
      std::transform(begin, end, characters, [decimalSeparator](wchar_t character) {
        return character == decimalSeparator ? '.' : static_cast<char>(character);
      });
  double value = 0.0;
  if (std::from_chars(characters, last, value).ec != std::errc()) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::optional<ScannedNumber> ScanPlainDecimal(const wchar_t* text,
                                              wchar_t decimalSeparator) noexcept {
  if (!RoundsToNearest()) {
    return std::nullopt;
  }
  while (IsBlank(*text)) {
    ++text;
  }
  const bool isNegative = *text == L'-';
  if (isNegative || *text == L'+') {
    ++text;
  }
  const wchar_t* const begin = text;
  std::uint64_t digits = 0;
  text = ScanDigits(text, &digits);
  std::ptrdiff_t digitCount = text - begin;
  std::int64_t exponent = 0;
  if (*text == decimalSeparator) {
    const wchar_t* const fraction = text + 1;
    text = ScanDigits(fraction, &digits);
    exponent = fraction - text;
    digitCount -= exponent;
  }
  if (digitCount == 0 || *text == L'x' || *text == L'X' || *text == L'd' || *text == L'D') {
    return std::nullopt;
  }
  bool isShort = digitCount <= kMostDigits;
  if (*text == L'e' || *text == L'E') {
    const bool isSigned = text[1] == L'-' || text[1] == L'+';
    const wchar_t* const power = text + (isSigned ? 2 : 1);
    if (IsDigit(*power)) {
      const bool isDown = text[1] == L'-';
      std::uint64_t number = 0;
      text = ScanDigits(power, &number);
      isShort = isShort && text - power <= kMostExponentDigits;
      const auto tens = static_cast<std::int64_t>(isShort ? number : 0);
      exponent += isDown ? -tens : tens;
    }
  }
  std::optional<double> magnitude;
  if (isShort) {
    magnitude = ConvertExactly(digits, exponent);
  }
  if (!magnitude) {
    magnitude = ConvertAny(begin, text, decimalSeparator);
  }
  if (!magnitude) {
    return std::nullopt;
  }
  return ScannedNumber{isNegative ? -*magnitude : *magnitude, text};
}

}  // namespace Velta::Text
