// SPDX-License-Identifier: MIT
#include "Utf8.h"

void AppendUtf8(std::string& utf8, char32_t character) {
  if (character < 0x80) {
    utf8 += static_cast<char>(character);
    return;
  }
  if (character < 0x800) {
    utf8 += static_cast<char>(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      utf8 += static_cast<char>(0xE0 | character >> 12);
    } else {
      utf8 += static_cast<char>(0xF0 | character >> 18);
      utf8 += static_cast<char>(0x80 | (character >> 12 & 0x3F));
    }
    utf8 += static_cast<char>(0x80 | (character >> 6 & 0x3F));
  }
  utf8 += static_cast<char>(0x80 | (character & 0x3F));
}

void AppendWide(std::wstring& text, char32_t character) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (character > 0xFFFF) {
      character -= 0x10000;
      text += static_cast<wchar_t>(0xD800 + (character >> 10));
      text += static_cast<wchar_t>(0xDC00 + (character & 0x3FF));
      return;
    }
  }
  text += static_cast<wchar_t>(character);
}

std::size_t DecodeUtf8(std::string_view bytes, char32_t& character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byte(0);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length == 0 || length > bytes.size()) {
    return 0;
  }
  character = length == 1 ? lead : lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return 0;
    }
    character = character << 6 | (byte(i) & 0x3F);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool shortest = character >= kSmallest[length];
  return shortest && !IsSurrogate(character) && character <= 0x10FFFF ? length : 0;
}

std::size_t DecodeWide(std::wstring_view text, std::size_t position, char32_t& character) {
  character = static_cast<char32_t>(text[position]);
  if constexpr (sizeof(wchar_t) == 2) {
    const char32_t next =
        position + 1 < text.size() ? static_cast<char32_t>(text[position + 1]) : U'\0';
    if (character >= 0xD800 && character <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
      character = 0x10000 + ((character - 0xD800) << 10) + (next - 0xDC00);
      return 2;
    }
  }
  return 1;
}
