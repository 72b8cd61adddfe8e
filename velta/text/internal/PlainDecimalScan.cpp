// SPDX-License-Identifier: MIT
#include "velta/text/internal/PlainDecimalScan.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace {

bool IsDigit(wchar_t character) noexcept { return character >= L'0' && character <= L'9'; }

bool IsBlank(wchar_t character) noexcept {
  return character == L' ' || (character >= L'\t' && character <= L'\r');
}

/// The number's characters as `std::from_chars` wants them. It never overflows: what comes when it
/// is full is dropped, and told by `IsFull`.
class NarrowNumber {
 public:
  void Append(wchar_t character) noexcept {
    if (length < kCapacity) {
      characters[length++] = static_cast<char>(character);
    }
  }
  const wchar_t* AppendDigits(const wchar_t* text) noexcept {
    for (; IsDigit(*text) && !IsFull(); ++text) {
      Append(*text);
    }
    return text;
  }
  bool IsFull() const noexcept { return length == kCapacity; }
  bool Convert(double* value) const noexcept {
    return std::from_chars(characters, characters + length, *value).ec == std::errc();
  }

 private:
  static constexpr std::size_t kCapacity = 64;  // no double needs more than 17 digits
  char characters[kCapacity];
  std::size_t length = 0;
};

}  // namespace

bool ScanPlainDecimal(const wchar_t* text, wchar_t separator, double* value,
                      const wchar_t** end) noexcept {
  while (IsBlank(*text)) {
    ++text;
  }
  NarrowNumber number;
  if (*text == L'-' || *text == L'+') {
    if (*text == L'-') {
      number.Append(L'-');
    }
    ++text;
  }
  const wchar_t* const digits = text;
  text = number.AppendDigits(text);
  std::ptrdiff_t digitCount = text - digits;
  if (*text == separator) {
    number.Append(L'.');
    const wchar_t* const fraction = text + 1;
    text = number.AppendDigits(fraction);
    digitCount += text - fraction;
  }
  if (digitCount == 0 || *text == L'x' || *text == L'X' || *text == L'd' || *text == L'D') {
    return false;
  }
  if (*text == L'e' || *text == L'E') {
    const bool isSigned = text[1] == L'-' || text[1] == L'+';
    const wchar_t* const exponent = text + (isSigned ? 2 : 1);
    if (IsDigit(*exponent)) {
      number.Append(L'e');
      if (text[1] == L'-') {
        number.Append(L'-');
      }
      text = number.AppendDigits(exponent);
    }
  }
  double converted = 0.0;
  if (number.IsFull() || !number.Convert(&converted)) {
    return false;
  }
  *value = converted;
  *end = text;
  return true;
}
