// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace Velta::Text {

inline constexpr char32_t kReplacement = 0xFFFD;
inline constexpr char32_t kLastCharacter = 0x10FFFF;
inline constexpr bool kIsUtf16 = sizeof(wchar_t) == 2;

constexpr bool IsSurrogate(char32_t c) noexcept { return c >= 0xD800 && c <= 0xDFFF; }

/// The next character of a text, or what stands where there is none.
struct Step {
  char32_t character;
  std::size_t length;  // in units of the text, never 0
  bool valid;
};

/// Which bytes may follow a lead byte. Overlong forms, surrogates and numbers that are too large
/// differ from the others in their second byte.
struct Sequence {
  std::size_t length;  // 0: no lead byte
  unsigned char secondFrom;
  unsigned char secondTo;
};

constexpr Sequence SequenceOf(unsigned char lead) noexcept {
  if (lead < 0xC2 || lead > 0xF4) {
    return {0, 0, 0};
  }
  if (lead < 0xE0) {
    return {2, 0x80, 0xBF};
  }
  if (lead < 0xF0) {
    return {3, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
  }
  return {4, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
          static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
}

/// `text` is not empty.
inline Step Decode(std::string_view text) noexcept {
  const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) {
    return {lead, 1, true};
  }
  const Sequence sequence = SequenceOf(lead);
  if (sequence.length == 0) {
    return {kReplacement, 1, false};
  }
  char32_t character = lead & (0x7FU >> sequence.length);
  for (std::size_t at = 1; at < sequence.length; ++at) {
    const unsigned from = at == 1 ? sequence.secondFrom : 0x80;
    const unsigned to = at == 1 ? sequence.secondTo : 0xBF;
    if (at == text.size() || byte(at) < from || byte(at) > to) {
      return {kReplacement, at, false};
    }
    character = character << 6 | (byte(at) & 0x3FU);
  }
  return {character, sequence.length, true};
}

inline Step Decode(std::wstring_view text) noexcept {
  const auto character = static_cast<char32_t>(text[0]);
  if constexpr (kIsUtf16) {
    const auto next = static_cast<char32_t>(text.size() > 1 ? text[1] : 0);
    if (character >= 0xD800 && character <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
      return {0x10000 + ((character - 0xD800) << 10) + (next - 0xDC00), 2, true};
    }
  }
  if (IsSurrogate(character) || character > kLastCharacter) {
    return {kReplacement, 1, false};
  }
  return {character, 1, true};
}

inline void Append(MString& text, char32_t character) {
  if constexpr (kIsUtf16) {
    if (character > 0xFFFF) {
      text += static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10));
      text += static_cast<wchar_t>(0xDC00 + (character & 0x3FF));
      return;
    }
  }
  text += static_cast<wchar_t>(character);
}

inline void Append(std::string& text, char32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  const int following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  const unsigned lead = 0xFF00U >> (following + 1) & 0xFFU;  // 110, 1110, 11110 and zeros
  text += static_cast<char>(lead | character >> 6 * following);
  for (int left = following; left-- > 0;) {
    text += static_cast<char>(0x80U | (character >> 6 * left & 0x3FU));
  }
}

}  // namespace Velta::Text
