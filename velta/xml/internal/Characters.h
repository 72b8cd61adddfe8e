// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Velta::Xml {

/// A set of characters below 64, one bit each. Letters are ruled out by the first comparison.
using LowSet = std::uint64_t;

constexpr LowSet SetOf(std::wstring_view characters) noexcept {
  LowSet set = 0;
  for (const wchar_t c : characters) {
    set |= LowSet{1} << static_cast<std::uint32_t>(c);
  }
  return set;
}

constexpr bool IsIn(LowSet set, wchar_t c) noexcept {
  const auto code = static_cast<std::uint32_t>(c);
  return code < 64 && (set >> code & 1) != 0;
}

/// A scan that stops at NUL also stops at the end of a string, without comparing positions.
inline constexpr LowSet kNul = 1;
inline constexpr LowSet kSpaces = SetOf(L" \t\n\r");
inline constexpr LowSet kQuotes = SetOf(L"\"'");
inline constexpr LowSet kNameEnds = kNul | kSpaces | kQuotes | SetOf(L"/<=>?");

constexpr bool IsSpace(wchar_t c) noexcept { return IsIn(kSpaces, c); }
constexpr bool IsQuote(wchar_t c) noexcept { return IsIn(kQuotes, c); }
constexpr bool IsNameEnd(wchar_t c) noexcept { return IsIn(kNameEnds, c); }

/// Whether an element tag may begin with this character after its "<".
constexpr bool IsTagStart(wchar_t c) noexcept {
  constexpr LowSet kRefusedFrom64 =  // "@[\\]^`"
      LowSet{1} | LowSet{0xF} << ('[' - 64) | LowSet{1} << ('`' - 64);
  const auto code = static_cast<std::uint32_t>(c);
  if (code < 64) {
    return c == L':';
  }
  return code >= 128 || (kRefusedFrom64 >> (code - 64) & 1) == 0;
}

/// Stricter than what is read: names that every XML reader accepts.
constexpr bool IsNameStart(wchar_t c) noexcept {
  const auto code = static_cast<std::uint32_t>(c);
  return code >= 128 || (code | 0x20) - 'a' < 26 || c == L':' || c == L'_';
}
constexpr bool IsNameCharacter(wchar_t c) noexcept {
  return IsNameStart(c) || (c >= L'0' && c <= L'9') || c == L'-' || c == L'.';
}

[[nodiscard]] bool IsName(std::wstring_view text) noexcept;
[[nodiscard]] bool IsAllSpaces(std::wstring_view text) noexcept;

/// The letters A to Z in lower case.
constexpr wchar_t Fold(wchar_t c) noexcept {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

/// Names are short: comparing them here costs less than a call does.
[[nodiscard]] constexpr bool SameName(std::wstring_view left, std::wstring_view right,
                                      bool ignoreCase) noexcept {
  if (left.size() != right.size()) {
    return false;
  }
  for (std::size_t at = 0; at < left.size(); ++at) {
    if (left[at] != right[at] && (!ignoreCase || Fold(left[at]) != Fold(right[at]))) {
      return false;
    }
  }
  return true;
}

/// The name that begins at `begin`, in a string that ends with NUL.
inline std::wstring_view NameAt(const wchar_t* begin) noexcept {
  const wchar_t* end = begin;
  while (!IsNameEnd(*end)) {
    ++end;
  }
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace Velta::Xml
