// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Characters.h"

#include <algorithm>

namespace Velta::Xml {

bool IsName(std::wstring_view text) noexcept {
  return !text.empty() && IsNameStart(text.front()) &&
         std::all_of(text.begin(), text.end(), IsNameCharacter);
}

bool IsAllSpaces(std::wstring_view text) noexcept {
  return std::all_of(text.begin(), text.end(), IsSpace);
}

}  // namespace Velta::Xml
