// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Whether a character is half of a pair, and so none by itself.
constexpr bool IsSurrogate(char32_t character) {
  return character >= 0xD800 && character <= 0xDFFF;
}

/// Appends a character, up to 0x10FFFF and no surrogate, in 1 to 4 bytes.
void AppendUtf8(std::string& utf8, char32_t character);

/// Appends a character to wide text, as a pair where `wchar_t` has 16 bits.
void AppendWide(std::wstring& text, char32_t character);

/// Reads the character at the beginning of `bytes`, which are not empty.
///
/// @return how many bytes it takes; 0, without a character, when they are not UTF-8
[[nodiscard]] std::size_t DecodeUtf8(std::string_view bytes, char32_t& character);

/// Reads the character at `text[position]`, which is in range, as a pair where it is one.
///
/// @return how many units it takes. Half a pair, and what is beyond the last character, is given as
///         it is
[[nodiscard]] std::size_t DecodeWide(std::wstring_view text, std::size_t position,
                                     char32_t& character);
