// SPDX-License-Identifier: MIT
#include "velta/platform/posix/Win32Subset.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include <langinfo.h>
#include <locale.h>
#include <wchar.h>

namespace {

/// Makes a locale the calling thread's for one scope; null changes nothing.
class LocaleScope {
 public:
  explicit LocaleScope(_locale_t locale) noexcept
      : previous_(locale != nullptr ? ::uselocale(locale) : nullptr) {}
  LocaleScope(const LocaleScope&) = delete;
  LocaleScope& operator=(const LocaleScope&) = delete;
  ~LocaleScope() {
    if (previous_ != nullptr) {
      ::uselocale(previous_);
    }
  }

 private:
  const _locale_t previous_;
};

/// The whole text of a format, up to 64 million characters. There is no call that counts wide
/// characters, and none that tells a text that does not fit from one that cannot be made.
class FormattedText {
 public:
  FormattedText(const wchar_t* format, va_list arguments) noexcept {
    int error = TryFormat(format, arguments);
    while (length_ < 0 && error != EILSEQ && capacity_ < kLongest) {
      std::free(heap_);
      capacity_ *= 4;
      heap_ = static_cast<wchar_t*>(std::malloc(capacity_ * sizeof(wchar_t)));
      if (heap_ == nullptr) {
        errno = ENOMEM;
        return;
      }
      error = TryFormat(format, arguments);
    }
  }
  FormattedText(const FormattedText&) = delete;
  FormattedText& operator=(const FormattedText&) = delete;
  ~FormattedText() { std::free(heap_); }

  /// Negative when the text could not be made; `errno` is ENOMEM then if that was for memory.
  [[nodiscard]] int Length() const noexcept { return length_; }
  [[nodiscard]] const wchar_t* Text() const noexcept { return heap_ != nullptr ? heap_ : local_; }

 private:
  static constexpr std::size_t kShort = 256;
  static constexpr std::size_t kLongest = std::size_t{1} << 26;

  int TryFormat(const wchar_t* format, va_list arguments) noexcept {
    va_list copy;
    va_copy(copy, arguments);
    const int kept = errno;
    errno = 0;
    length_ = std::vswprintf(heap_ != nullptr ? heap_ : local_, capacity_, format, copy);
    const int error = errno;
    errno = kept;
    va_end(copy);
    return error;
  }

  wchar_t local_[kShort];
  wchar_t* heap_ = nullptr;
  std::size_t capacity_ = kShort;
  int length_ = -1;
};

/// The "C" locale of the platform that we imitate maps every byte to the character of its number;
/// here it would refuse those above 127.
bool IsClassicLocale() noexcept {
  return std::strcmp(::nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0;
}

constexpr std::size_t kInvalid = static_cast<std::size_t>(-1);

/// As mbstowcs: writes at most `limit` characters, or only counts them all without a buffer.
std::size_t ConvertToWide(wchar_t* buffer, const char* text, std::size_t limit) noexcept {
  if (!IsClassicLocale()) {
    std::mbstate_t state{};
    return std::mbsrtowcs(buffer, &text, limit, &state);
  }
  if (buffer == nullptr) {
    return std::strlen(text);
  }
  for (std::size_t i = 0; i < limit; ++i) {
    buffer[i] = static_cast<unsigned char>(text[i]);
    if (text[i] == '\0') {
      return i;
    }
  }
  return limit;
}

}  // namespace

_locale_t _create_locale(int category, const char* name) noexcept {
  if (name == nullptr || category < LC_CTYPE || category > LC_ALL) {
    return nullptr;
  }
  const int mask = category == LC_ALL ? LC_ALL_MASK : 1 << category;
  return ::newlocale(mask, name, nullptr);
}

void _free_locale(_locale_t locale) noexcept {
  if (locale != nullptr) {
    ::freelocale(locale);
  }
}

double _wcstod_l(const wchar_t* text, wchar_t** end, _locale_t locale) noexcept {
  const LocaleScope scope(locale);
  return std::wcstod(text, end);
}

int CountFormattedWide(const wchar_t* format, _locale_t locale, va_list arguments) noexcept {
  const LocaleScope scope(locale);
  return FormattedText(format, arguments).Length();
}

int ScanFormattedWide(const wchar_t* text, const wchar_t* format, _locale_t locale,
                      va_list arguments) noexcept {
  const LocaleScope scope(locale);
  return std::vswscanf(text, format, arguments);
}

int _vsnwprintf_s_l(wchar_t* buffer, std::size_t size, std::size_t maxCount, const wchar_t* format,
                    _locale_t locale, va_list arguments) noexcept {
  if (buffer == nullptr || size == 0 || format == nullptr) {
    errno = EINVAL;
    return -1;
  }
  const LocaleScope scope(locale);
  const FormattedText text(format, arguments);
  buffer[0] = L'\0';
  if (text.Length() < 0) {
    return -1;
  }
  const auto length = static_cast<std::size_t>(text.Length());
  const std::size_t wanted = (std::min)(length, maxCount);
  if (wanted >= size && maxCount != _TRUNCATE) {
    errno = ERANGE;
    return -1;
  }
  const std::size_t written = (std::min)(wanted, size - 1);
  std::wmemcpy(buffer, text.Text(), written);
  buffer[written] = L'\0';
  return written == length ? text.Length() : -1;
}

errno_t mbstowcs_s(std::size_t* converted, wchar_t* buffer, std::size_t size, const char* text,
                   std::size_t maxCount) noexcept {
  if (converted != nullptr) {
    *converted = 0;
  }
  if (buffer != nullptr && size != 0) {
    buffer[0] = L'\0';
  }
  if ((buffer == nullptr) != (size == 0) || text == nullptr) {
    errno = EINVAL;
    return EINVAL;
  }
  const std::size_t length = ConvertToWide(buffer, text, (std::min)(size, maxCount));
  if (length == kInvalid) {
    if (buffer != nullptr) {
      buffer[0] = L'\0';
    }
    return errno;
  }
  std::size_t withTerminator = length + 1;
  errno_t result = 0;
  if (buffer != nullptr) {
    if (withTerminator > size) {
      if (maxCount != _TRUNCATE) {
        buffer[0] = L'\0';
        errno = ERANGE;
        return ERANGE;
      }
      withTerminator = size;
      result = STRUNCATE;
    }
    buffer[withTerminator - 1] = L'\0';
  }
  if (converted != nullptr) {
    *converted = withTerminator;
  }
  return result;
}
