// SPDX-License-Identifier: MIT
#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace host {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(std::uint32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLowSurrogate(std::uint32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void AppendCharacter(std::string& utf8, std::uint32_t character) {
  const auto append = [&utf8](std::uint32_t byte) {
    utf8 += static_cast<char>(static_cast<unsigned char>(byte));
  };
  const auto continuation = [&](unsigned shift) { append(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0 | character >> 6);
    continuation(0);
  } else if (character < 0x10000) {
    append(0xE0 | character >> 12);
    continuation(6);
    continuation(0);
  } else {
    append(0xF0 | character >> 18);
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

// Signed where wchar_t is: no character is negative, so what this returns is out of range then.
std::uint32_t Unit(wchar_t unit) { return static_cast<std::uint32_t>(unit); }

#if !defined(_WIN32)

struct Decoded {
  std::uint32_t character;
  std::size_t length;
};

/// The character at the start of `bytes`, or one that stands for the first byte.
Decoded Decode(std::string_view bytes) {
  constexpr Decoded kInvalid{kReplacement, 1};
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};  // by length
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return static_cast<unsigned char>(bytes[i]);
  };
  const std::uint32_t first = byte(0);
  if (first < 0x80) return {first, 1};
  const std::size_t length = first < 0xC0 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (length == 0 || first > 0xF4 || length > bytes.size()) return kInvalid;
  std::uint32_t character = first & 0x7FU >> length;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return kInvalid;
    character = character << 6 | (byte(i) & 0x3F);
  }
  const bool valid = character >= kSmallest[length] && character <= 0x10FFFF &&
                     !IsHighSurrogate(character) && !IsLowSurrogate(character);
  return valid ? Decoded{character, length} : kInvalid;
}

#endif

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string utf8;
  utf8.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t character = Unit(text[i]);
    const bool paired =
        IsHighSurrogate(character) && i + 1 < text.size() && IsLowSurrogate(Unit(text[i + 1]));
    if (paired) {
      character = 0x10000 + ((character - 0xD800) << 10) + (Unit(text[++i]) - 0xDC00);
    } else if (IsHighSurrogate(character) || IsLowSurrogate(character) || character > 0x10FFFF) {
      character = kReplacement;
    }
    AppendCharacter(utf8, character);
  }
  return utf8;
}

#if defined(_WIN32)

MString ToText(const std::filesystem::path& path) { return path.native(); }

std::string DisplayName(const std::filesystem::path& path) {
  std::string name = ToUtf8(path.native());
#else

// A name is bytes here, by custom UTF-8, and may be no text at all. The library's own conversion
// depends on the locale and refuses such names.
MString ToText(const std::filesystem::path& path) {
  const std::string& bytes = path.native();
  MString text;
  for (std::size_t i = 0; i < bytes.size();) {
    const Decoded next = Decode(std::string_view(bytes).substr(i));
    text += static_cast<wchar_t>(next.character);
    i += next.length;
  }
  return text;
}

std::string DisplayName(const std::filesystem::path& path) {
  std::string name = path.native();
#endif
  std::ranges::replace_if(
      name, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
  return name;
}

}  // namespace host
