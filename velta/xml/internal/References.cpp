// SPDX-License-Identifier: MIT
#include "velta/xml/internal/References.h"

#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/Search.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace Velta::Xml {
namespace {

struct NamedReference {
  std::wstring_view name;  // after the ampersand
  wchar_t character;
};

constexpr NamedReference kNamed[] = {
    {L"lt;", L'<'}, {L"amp;", L'&'}, {L"gt;", L'>'}, {L"apos;", L'\''}, {L"quot;", L'"'}};

constexpr LowSet kMarkup = SetOf(L"<&>");
constexpr std::uint32_t kLastCodePoint = 0x10FFFF;
constexpr std::wstring_view kCDataBegin = L"<![CDATA[";
constexpr std::wstring_view kCDataEnd = L"]]>";

constexpr LowSet EscapedSet(bool quotes) noexcept { return quotes ? kMarkup | kQuotes : kMarkup; }

/// Whether the text after an ampersand makes it a reference, known or not.
bool IsReference(std::wstring_view text) noexcept {
  if (text.empty() || (text.front() != L'#' && !IsNameStart(text.front()))) {
    return false;
  }
  const auto end = std::find_if_not(text.begin() + 1, text.end(), IsNameCharacter);
  return end != text.end() && *end == L';';
}

int DigitValue(wchar_t c) noexcept {
  if (c >= L'0' && c <= L'9') {
    return c - L'0';
  }
  const wchar_t lower = Fold(c);
  return lower >= L'a' && lower <= L'f' ? lower - L'a' + 10 : 16;
}

void AppendCodePoint(std::wstring& out, std::uint32_t code) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (code > 0xFFFF) {
      out += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
      out += static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
      return;
    }
  }
  out += static_cast<wchar_t>(code);
}

struct ScannedNumber {
  std::uint32_t code;
  std::size_t length;  // how many characters it takes; 0 when it is no number of a character
};

/// Reads "10;" or "xA;", the text after "&#".
ScannedNumber ScanNumber(std::wstring_view text) noexcept {
  const bool isHex = !text.empty() && text.front() == L'x';
  const std::size_t firstDigit = isHex ? 1 : 0;
  const std::uint32_t base = isHex ? 16 : 10;
  std::uint32_t code = 0;
  for (std::size_t at = firstDigit; at < text.size(); ++at) {
    if (text[at] == L';') {
      return {code, at != firstDigit ? at + 1 : 0};
    }
    const auto digit = static_cast<std::uint32_t>(DigitValue(text[at]));
    if (digit >= base) {
      return {0, 0};
    }
    code = code * base + digit;
    if (code > kLastCodePoint) {
      return {0, 0};
    }
  }
  return {0, 0};
}

/// Appends what the text after an ampersand stands for.
///
/// @return how many characters of it that took; 0 when it is no reference
std::size_t AppendReferenced(std::wstring& out, std::wstring_view text) {
  if (!text.empty() && text.front() == L'#') {
    const ScannedNumber number = ScanNumber(text.substr(1));
    if (number.length == 0) {
      return 0;
    }
    AppendCodePoint(out, number.code);
    return number.length + 1;
  }
  for (const NamedReference& named : kNamed) {
    if (text.starts_with(named.name)) {
      out += named.character;
      return named.name.size();
    }
  }
  return 0;
}

}  // namespace

bool NeedsEscape(std::wstring_view text, bool quotes) noexcept {
  const LowSet escaped = EscapedSet(quotes);
  return std::any_of(text.begin(), text.end(), [escaped](wchar_t c) { return IsIn(escaped, c); });
}

void AppendEscaped(std::wstring& out, std::wstring_view text, bool quotes, bool keepReferences) {
  const LowSet escaped = EscapedSet(quotes);
  const std::size_t wanted = out.size() + text.size() + text.size() / 10 + 7;
  if (wanted > out.capacity()) {
    out.reserve(wanted);
  }
  std::size_t copied = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!IsIn(escaped, text[at])) {
      continue;
    }
    if (keepReferences && text[at] == L'&' && IsReference(text.substr(at + 1))) {
      continue;
    }
    const auto* const named = std::find_if(
        std::begin(kNamed), std::end(kNamed),
        [&](const NamedReference& reference) { return reference.character == text[at]; });
    out.append(text, copied, at - copied).append(1, L'&').append(named->name);
    copied = at + 1;
  }
  out.append(text, copied);
}

void AppendCData(std::wstring& out, std::wstring_view text) {
  out.append(kCDataBegin);
  for (;;) {
    const std::size_t end = text.find(kCDataEnd);
    if (end == std::wstring_view::npos) {
      break;
    }
    // The section ends between the brackets and the greater-than sign, and another begins.
    out.append(text, 0, end + 2).append(kCDataEnd).append(kCDataBegin);
    text.remove_prefix(end + 2);
  }
  out.append(text).append(kCDataEnd);
}

void AppendUnescaped(std::wstring& out, std::wstring_view text) {
  const wchar_t* at = text.data();
  const wchar_t* const end = at + text.size();
  for (;;) {
    const wchar_t* const ampersand = FindCharacter(at, end, L'&');
    out.append(at, ampersand);
    if (ampersand == end) {
      return;
    }
    at = ampersand + 1;
    const std::size_t taken = AppendReferenced(out, {at, static_cast<std::size_t>(end - at)});
    if (taken == 0) {
      out += L'&';
    }
    at += taken;
  }
}

}  // namespace Velta::Xml
