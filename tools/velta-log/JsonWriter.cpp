// SPDX-License-Identifier: MIT
#include "JsonWriter.h"

#include "Text.h"

namespace veltalog {

JsonWriter& JsonWriter::Key(std::string_view name) {
  String(name);
  output.Write(":");
  needsComma = false;
  return *this;
}

JsonWriter& JsonWriter::String(std::string_view utf8) {
  Separate();
  output.Write("\"");
  Escape(utf8);
  output.Write("\"");
  return *this;
}

JsonWriter& JsonWriter::Address(std::uint64_t object) { return String(AddressText(object)); }

void JsonWriter::EndLine() {
  output.Write("\n");
  needsComma = false;
}

JsonWriter& JsonWriter::Open(char bracket) {
  Separate();
  output.Write({&bracket, 1});
  needsComma = false;
  return *this;
}

JsonWriter& JsonWriter::Shut(char bracket) {
  output.Write({&bracket, 1});
  needsComma = true;
  return *this;
}

JsonWriter& JsonWriter::Raw(std::string_view text) {
  Separate();
  output.Write(text);
  return *this;
}

void JsonWriter::Separate() {
  if (needsComma) {
    output.Write(",");
  }
  needsComma = true;
}

void JsonWriter::Escape(std::string_view utf8) {
  std::size_t written = 0;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    if (byte >= 0x20 && byte != '"' && byte != '\\' && byte != '<') {
      continue;
    }
    output.Write(utf8.substr(written, i - written));
    written = i + 1;
    const char escape[] = {
        '\\', 'u', '0', '0', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 0xF]};
    output.Write({escape, sizeof escape});
  }
  output.Write(utf8.substr(written));
}

}  // namespace veltalog
