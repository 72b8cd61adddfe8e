// SPDX-License-Identifier: MIT
#include "JsonWriter.h"

#include "Text.h"

#include <cstddef>

namespace Velta::Logging {

JsonWriter& JsonWriter::Key(std::string_view name) {
  String(name);
  output_.Write(":");
  needsComma_ = false;
  return *this;
}

JsonWriter& JsonWriter::String(std::string_view utf8) {
  Separate();
  output_.Write("\"");
  Escape(utf8);
  output_.Write("\"");
  return *this;
}

JsonWriter& JsonWriter::Address(std::uint64_t object) { return String(AddressText(object)); }

void JsonWriter::EndLine() {
  output_.Write("\n");
  needsComma_ = false;
}

JsonWriter& JsonWriter::Open(char bracket) {
  Separate();
  output_.Write({&bracket, 1});
  needsComma_ = false;
  return *this;
}

JsonWriter& JsonWriter::Shut(char bracket) {
  output_.Write({&bracket, 1});
  needsComma_ = true;
  return *this;
}

JsonWriter& JsonWriter::Raw(std::string_view text) {
  Separate();
  output_.Write(text);
  return *this;
}

void JsonWriter::Separate() {
  if (needsComma_) {
    output_.Write(",");
  }
  needsComma_ = true;
}

void JsonWriter::Escape(std::string_view utf8) {
  std::size_t written = 0;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    if (byte >= 0x20 && byte != '"' && byte != '\\' && byte != '<') {
      continue;
    }
    output_.Write(utf8.substr(written, i - written));
    written = i + 1;
    const char escape[] = {
        '\\', 'u', '0', '0', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 0xF]};
    output_.Write({escape, sizeof escape});
  }
  output_.Write(utf8.substr(written));
}

}  // namespace Velta::Logging
