// SPDX-License-Identifier: MIT
#include "velta/text/NumberText.h"

#include "velta/errors/MError.h"
#include "velta/platform/internal/Win32.h"
#include "velta/text/MLocale.h"
#include "velta/text/internal/PlainDecimalScan.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cwchar>
#include <limits>
#include <locale>
#include <memory>
#include <new>
#include <optional>

using Velta::Text::ScannedNumber;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

template <std::size_t kSize>
bool StartsWith(const wchar_t* text, const wchar_t (&prefix)[kSize]) noexcept {
  return std::wcsncmp(text, prefix, kSize - 1) == 0;
}

ScannedNumber ScanByRuntime(const wchar_t* text, const MLocale& locale) noexcept {
  ScannedNumber number{0.0, text};
  number.value = locale.ScanNumber(text, &number.end);
  return number;
}

/// Older runtimes padded "1.#INF" with zeros to the asked precision: they belong to the number.
const wchar_t* SkipPadding(const wchar_t* text, const MLocale& locale) noexcept {
  const ScannedNumber padding = ScanByRuntime(text, locale);
  return padding.value == 0.0 ? padding.end : text;
}

/// What older runtimes printed after a 1 or a -1, here `one`, for a value that is not finite.
/// @param text  begins with the number sign
std::optional<ScannedNumber> ScanLegacyForm(const wchar_t* text, double one,
                                            const MLocale& locale) noexcept {
  const wchar_t* name = text + 1;
  if (StartsWith(name, L"INF")) {
    return ScannedNumber{one * kInfinity, SkipPadding(name + 3, locale)};
  }
  if (StartsWith(name, L"NAN") || StartsWith(name, L"IND")) {
    return ScannedNumber{std::copysign(kNan, one), SkipPadding(name + 3, locale)};
  }
  if (StartsWith(name, L"QNAN") || StartsWith(name, L"SNAN")) {
    return ScannedNumber{std::copysign(kNan, one), SkipPadding(name + 4, locale)};
  }
  return std::nullopt;
}

/// The spelled-out forms, for runtimes that do not read them.
std::optional<ScannedNumber> ScanSpelledForm(const wchar_t* text, const MLocale& locale) noexcept {
  while (std::isspace(*text, locale.GetStreamLocale())) {
    ++text;
  }
  double sign = 1.0;
  if (*text == L'+' || *text == L'-') {
    sign = *text == L'-' ? -1.0 : 1.0;
    ++text;
  }
  if (StartsWith(text, L"inf")) {
    return ScannedNumber{sign * kInfinity, text + (StartsWith(text, L"infinity") ? 8 : 3)};
  }
  if (StartsWith(text, L"INF")) {
    return ScannedNumber{sign * kInfinity, text + (StartsWith(text, L"INFINITY") ? 8 : 3)};
  }
  if (StartsWith(text, L"nan") || StartsWith(text, L"NAN")) {
    return ScannedNumber{std::copysign(kNan, sign), text + 3};  // a product has either sign
  }
  return std::nullopt;
}

}  // namespace

double ScanDouble(const wchar_t* text, const wchar_t** end, const MLocale& locale) noexcept {
  const std::optional<ScannedNumber> plain =
      Velta::Text::ScanPlainDecimal(text, locale.GetDecimalSeparator());
  ScannedNumber number = plain ? *plain : ScanByRuntime(text, locale);

  std::optional<ScannedNumber> special;
  if (number.end == text) {
    special = ScanSpelledForm(text, locale);
  } else if ((number.value == 1.0 || number.value == -1.0) && *number.end == L'#') {
    special = ScanLegacyForm(number.end, number.value, locale);
  }
  number = special.value_or(number);
  if (end != nullptr) {
    *end = number.end;
  }
  return number.value;
}

bool ParseDouble(const MLocale& locale, const MString& text, double* value) noexcept {
  if (value == nullptr) {
    return false;
  }
  errno = 0;
  const wchar_t* end = nullptr;
  *value = ScanDouble(text.c_str(), &end, locale);
  return (errno == 0 || errno == ERANGE) && end != text.c_str();
}

MString ToWide(const std::string& text) {
  if (text.empty()) {
    return MString();
  }
  const std::size_t size = text.size() + 1;
  const std::unique_ptr<wchar_t[]> buffer(new (std::nothrow) wchar_t[size]());
  if (buffer == nullptr) {
    MErrorOutOfMemory::Throw();
  }
  std::size_t converted = 0;
  // The result is what the buffer holds: the runtime decides what it shows of a sequence that it
  // cannot convert.
  static_cast<void>(::mbstowcs_s(&converted, buffer.get(), size, text.c_str(), _TRUNCATE));
  try {
    return MString(buffer.get());
  } catch (const std::bad_alloc&) {
    MErrorOutOfMemory::Throw();
  }
}
