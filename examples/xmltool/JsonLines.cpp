// SPDX-License-Identifier: MIT
#include "JsonLines.h"

#include "examples/shared/Utf8.h"

#include <cstddef>
#include <cstdint>

namespace {

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
  for (std::size_t i = 0; i < text.size();) {
    char32_t character = 0;
    i += DecodeWide(text, i, character);
    if (character == U'"' || character == U'\\') {
      line += '\\';
      line += static_cast<char>(character);
    } else if (character < 0x20 || IsSurrogate(character)) {
      AppendEscape(line, character);
    } else {
      AppendUtf8(line, character <= 0x10FFFF ? character : 0xFFFD);
    }
  }
  line += '"';
}
