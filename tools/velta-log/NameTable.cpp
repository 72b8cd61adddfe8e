// SPDX-License-Identifier: MIT
#include "NameTable.h"

namespace Velta::Logging {
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
  if (const auto found = numbers_.find(latin1); found != numbers_.end()) {
    return found->second;
  }
  const auto number = static_cast<NameId>(shown_.size());
  shown_.push_back(Utf8(latin1));
  numbers_.emplace(raw_.emplace_back(latin1), number);
  return number;
}

}  // namespace Velta::Logging
