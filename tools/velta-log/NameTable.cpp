// SPDX-License-Identifier: MIT
#include "NameTable.h"

namespace veltalog {
namespace {

std::string Utf8(std::string_view latin1) {
  std::string text;
  text.reserve(latin1.size());
  for (const char character : latin1) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || (byte >= 0x7F && byte < 0xA0)) {
      text += "\xEF\xBF\xBD";
    } else if (byte < 0x80) {
      text += character;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

}  // namespace

NameId NameTable::Intern(std::string_view latin1) {
  if (const auto found = numbers.find(latin1); found != numbers.end()) {
    return found->second;
  }
  const auto number = static_cast<NameId>(shown.size());
  shown.push_back(Utf8(latin1));
  numbers.emplace(raw.emplace_back(latin1), number);
  return number;
}

}  // namespace veltalog
