// SPDX-License-Identifier: MIT
#include "Text.h"

#include "velta/text/StandardText.h"
#include "velta/text/Utf8.h"

#include <algorithm>

namespace host {

std::string ToUtf8(std::wstring_view text) { return ToUtf8Lossy(text); }

MString ToText(const std::filesystem::path& path) {
  return Velta::TextOf<std::filesystem::path>::Make(path);
}

std::string DisplayName(const std::filesystem::path& path) {
#if defined(_WIN32)
  std::string name = ToUtf8(path.native());
#else
  std::string name = path.native();
#endif
  std::ranges::replace_if(
      name, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
  return name;
}

}  // namespace host
