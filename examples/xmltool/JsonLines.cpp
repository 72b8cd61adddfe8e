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
    char32_t character = 0;
    i += DecodeWide(text, i, character);
    if (character == U'"' || character == U'\\') {
      line_ += '\\';
      line_ += static_cast<char>(character);
    } else if (character < 0x20 || IsSurrogate(character)) {
      AppendEscape(line_, character);
    } else {
      AppendUtf8(line_, character <= 0x10FFFF ? character : 0xFFFD);
    }
  }
  line_ += '"';
}
