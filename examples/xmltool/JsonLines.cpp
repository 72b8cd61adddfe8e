// SPDX-License-Identifier: MIT
#include "JsonLines.h"

#include <cstdint>

namespace {

/// A character outside ASCII as UTF-8.
void AppendUtf8(std::string& line, char32_t character) {
  if (character < 0x800) {
    line += static_cast<char>(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      line += static_cast<char>(0xE0 | character >> 12);
    } else {
      line += static_cast<char>(0xF0 | character >> 18);
      line += static_cast<char>(0x80 | (character >> 12 & 0x3F));
    }
    line += static_cast<char>(0x80 | (character >> 6 & 0x3F));
  }
  line += static_cast<char>(0x80 | (character & 0x3F));
}

void AppendEscape(std::string& line, char32_t character) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
  line += escape;
}

}  // namespace

bool JsonLines::Write(MXmlDocument& document) {
  document.ResetPosition();
  int depth = 0;
  // Down before on, and up when a level ends: no recursion, however deep the document.
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
  return std::fflush(out) == 0 && std::ferror(out) == 0;
}

void JsonLines::WriteElement(const MXmlDocument& document, int depth) {
  line = "{\"depth\":" + std::to_string(depth) + ",\"name\":";
  AppendString(document.GetTagName());
  line += ",\"attributes\":[";
  std::int32_t cursor = 0;
  for (const char* separator = ""; document.GetNextAttribute(&cursor, &name, &value);
       separator = ",") {
    line += separator;
    line += '[';
    AppendString(name);
    line += ',';
    AppendString(value);
    line += ']';
  }
  line += "],\"data\":";
  static_cast<void>(document.GetData(&value));
  AppendString(value);
  line += "}\n";
  std::fwrite(line.data(), 1, line.size(), out);
}

void JsonLines::AppendString(std::wstring_view text) {
  line += '"';
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto character = static_cast<char32_t>(text[i]);
    if constexpr (sizeof(wchar_t) == 2) {
      const char32_t next = i + 1 < text.size() ? static_cast<char32_t>(text[i + 1]) : 0;
      if (character >= 0xD800 && character <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
        character = 0x10000 + ((character - 0xD800) << 10) + (next - 0xDC00);
        ++i;
      }
    }
    if (character == U'"' || character == U'\\') {
      line += '\\';
      line += static_cast<char>(character);
    } else if (character < 0x20 || (character >= 0xD800 && character <= 0xDFFF)) {
      AppendEscape(line, character);
    } else if (character < 0x80) {
      line += static_cast<char>(character);
    } else {
      AppendUtf8(line, character <= 0x10FFFF ? character : 0xFFFD);
    }
  }
  line += '"';
}
