// SPDX-License-Identifier: MIT
#include "JsonLines.h"

#include "velta/text/Utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace {

void AppendEscape(std::string& line, char32_t character) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
  line += escape;
}

/// 2 for a pair, where `wchar_t` has 16 bits.
std::size_t CharacterLength(std::wstring_view text) {
  const auto isIn = [](wchar_t unit, char32_t first, char32_t last) {
    return static_cast<char32_t>(unit) >= first && static_cast<char32_t>(unit) <= last;
  };
  const bool isPair = sizeof(wchar_t) == 2 && text.size() > 1 && isIn(text[0], 0xD800, 0xDBFF) &&
                      isIn(text[1], 0xDC00, 0xDFFF);
  return isPair ? 2 : 1;
}

}  // namespace

bool JsonLines::Write(MXmlDocument& document) {
  document.ResetPosition();
  int depth = 0;
  // Children first, then siblings, then the parent: no recursion, however deep the document.
  for (;;) {
    if (document.FindElement()) {
      WriteElement(document, depth);
      if (document.IntoElement()) {
        ++depth;
      }
    } else if (document.OutOfElement()) {
      --depth;
    } else {
      break;
    }
  }
  return std::fflush(out_) == 0 && std::ferror(out_) == 0;
}

void JsonLines::WriteElement(const MXmlDocument& document, int depth) {
  line_ = "{\"depth\":" + std::to_string(depth) + ",\"name\":";
  AppendString(document.GetTagName());
  line_ += ",\"attributes\":[";
  std::int32_t cursor = 0;
  for (const char* separator = ""; document.GetNextAttribute(&cursor, &name_, &value_);
       separator = ",") {
    line_ += separator;
    line_ += '[';
    AppendString(name_);
    line_ += ',';
    AppendString(value_);
    line_ += ']';
  }
  line_ += "],\"data\":";
  static_cast<void>(document.GetData(&value_));
  AppendString(value_);
  line_ += "}\n";
  std::fwrite(line_.data(), 1, line_.size(), out_);
}

void JsonLines::AppendString(std::wstring_view text) {
  line_ += '"';
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = CharacterLength(text.substr(i));
    const auto unit = static_cast<char32_t>(text[i]);
    if (unit == U'"' || unit == U'\\') {
      line_ += '\\';
      line_ += static_cast<char>(unit);
    } else if (unit < 0x20 || (length == 1 && unit >= 0xD800 && unit <= 0xDFFF)) {
      AppendEscape(line_, unit);
    } else {
      line_ += ToUtf8Lossy(text.substr(i, length));
    }
    i += length;
  }
  line_ += '"';
}
