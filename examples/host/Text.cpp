// SPDX-License-Identifier: MIT
#include "Text.h"

#include "examples/shared/Utf8.h"

#include <algorithm>
#include <cstddef>

namespace host {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string utf8;
  utf8.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char32_t character = 0;
    i += DecodeWide(text, i, character);
    const bool valid = !IsSurrogate(character) && character <= 0x10FFFF;
    AppendUtf8(utf8, valid ? character : kReplacement);
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
    char32_t character = 0;
    const std::size_t length = DecodeUtf8(std::string_view(bytes).substr(i), character);
    AppendWide(text, length != 0 ? character : kReplacement);
    i += length != 0 ? length : 1;
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
