// SPDX-License-Identifier: MIT
#include "velta/text/NumberText.h"

#include "velta/errors/MError.h"
#include "velta/platform/internal/Win32.h"
#include "velta/text/MLocale.h"
#include "velta/text/internal/PlainDecimalScan.h"

#include <cerrno>
#include <cmath>
#include <cwchar>
#include <limits>
#include <locale>
#include <memory>
#include <new>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

template <std::size_t kSize>
bool StartsWith(const wchar_t* text, const wchar_t (&prefix)[kSize]) noexcept {
  return std::wcsncmp(text, prefix, kSize - 1) == 0;
}

/// Older runtimes padded "1.#INF" with zeros to the asked precision: they belong to the number.
const wchar_t* SkipPadding(const wchar_t* text, const MLocale& locale) noexcept {
  const wchar_t* end = text;
  const double padding = locale.ScanNumber(text, &end);
  return padding == 0.0 ? end : text;
}

/// What follows the 1 or -1 of a legacy form; null when it is none.
const wchar_t* ScanLegacyForm(const wchar_t* sign, double& value, const MLocale& locale) noexcept {
  const wchar_t* name = sign + 1;
  if (StartsWith(name, L"INF")) {
    value *= kInfinity;
    return SkipPadding(name + 3, locale);
  }
  if (StartsWith(name, L"NAN") || StartsWith(name, L"IND")) {
    value = std::copysign(kNan, value);
    return SkipPadding(name + 3, locale);
  }
  if (StartsWith(name, L"QNAN") || StartsWith(name, L"SNAN")) {
    value = std::copysign(kNan, value);
    return SkipPadding(name + 4, locale);
  }
  return nullptr;
}

/// The spelled-out forms, for runtimes that do not read them; null when there is none.
const wchar_t* ScanSpelledForm(const wchar_t* text, double& value, const MLocale& locale) noexcept {
  while (std::isspace(*text, locale.GetStreamLocale())) {
    ++text;
  }
  double sign = 1.0;
  if (*text == L'+' || *text == L'-') {
    sign = *text == L'-' ? -1.0 : 1.0;
    ++text;
  }
  if (StartsWith(text, L"inf")) {
    value = sign * kInfinity;
    return text + (StartsWith(text, L"infinity") ? 8 : 3);
  }
  if (StartsWith(text, L"INF")) {
    value = sign * kInfinity;
    return text + (StartsWith(text, L"INFINITY") ? 8 : 3);
  }
  if (StartsWith(text, L"nan") || StartsWith(text, L"NAN")) {
    value = std::copysign(kNan, sign);  // a product has the sign of either
    return text + 3;
  }
  return nullptr;
}

}  // namespace

double ScanDouble(const wchar_t* text, const wchar_t** end, const MLocale& locale) noexcept {
  const wchar_t* stopped = text;
  double value = 0.0;
  if (!ScanPlainDecimal(text, locale.GetDecimalSeparator(), &value, &stopped)) {
    value = locale.ScanNumber(text, &stopped);
  }

  const wchar_t* special = nullptr;
  if (stopped == text) {
    special = ScanSpelledForm(text, value, locale);
  } else if ((value == 1.0 || value == -1.0) && *stopped == L'#') {
    special = ScanLegacyForm(stopped, value, locale);
  }
  if (end != nullptr) {
    *end = special != nullptr ? special : stopped;
  }
  return value;
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
  // The result is what the buffer holds: on a sequence that cannot be converted the runtime leaves
  // the text it wants to be seen.
  static_cast<void>(::mbstowcs_s(&converted, buffer.get(), size, text.c_str(), _TRUNCATE));
  try {
    return MString(buffer.get());
  } catch (const std::bad_alloc&) {
    MErrorOutOfMemory::Throw();
  }
}
