// SPDX-License-Identifier: MIT
#include "velta/platform/posix/RegistryNames.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include <locale.h>
#include <wctype.h>

namespace Velta::Posix {

namespace {

/// Not by the process's locale: another one would find other names.
wchar_t ToLower(wchar_t character) noexcept {
  static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (static_cast<std::uint32_t>(character) < 0x80) {  // not every platform's wchar_t has a sign
    return character >= L'A' && character <= L'Z' ? character - L'A' + L'a' : character;
  }
  if (locale == nullptr) {
    return character;
  }
  return static_cast<wchar_t>(::towlower_l(static_cast<wint_t>(character), locale));
}

bool IsPlain(wchar_t character) noexcept {
  return (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z') ||
         (character >= L'0' && character <= L'9') || character == L'-' || character == L'_' ||
         character == L' ';
}

/// FNV-1a with 64 bits.
class Hash {
 public:
  explicit Hash(std::uint64_t seed) noexcept : value_(seed) {}
  void Add(std::uint32_t word) noexcept {
    for (int shift = 0; shift < 32; shift += 8) {
      value_ = (value_ ^ (word >> shift & 0xFF)) * 0x100000001B3;
    }
  }
  [[nodiscard]] std::uint64_t Value() const noexcept { return value_; }

 private:
  std::uint64_t value_;
};

}  // namespace

EncodedName::EncodedName(std::wstring_view name, Case spelling) noexcept {
  Hash first(0xCBF29CE484222325);
  Hash second(0x9E3779B97F4A7C15);
  for (const wchar_t given : name) {
    const wchar_t character = spelling == Case::kFolded ? ToLower(given) : given;
    const auto code = static_cast<std::uint32_t>(character);
    first.Add(code);
    second.Add(~code);
    if (length_ > kMaxPlain) {
      continue;
    }
    if (IsPlain(character)) {
      text_[length_++] = static_cast<char>(character);
    } else {
      length_ += static_cast<std::size_t>(
          std::snprintf(text_ + length_, sizeof text_ - length_, "%%%" PRIx32 ";", code));
    }
  }
  if (length_ > kMaxPlain) {
    length_ = kHashed + static_cast<std::size_t>(std::snprintf(
                            text_ + kHashed, sizeof text_ - kHashed, "%%~%016" PRIx64 "%016" PRIx64,
                            first.Value(), second.Value()));
  }
  text_[length_] = '\0';
}

}  // namespace Velta::Posix
