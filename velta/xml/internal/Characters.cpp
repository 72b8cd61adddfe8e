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

bool SameName(std::wstring_view left, std::wstring_view right, bool ignoreCase) noexcept {
  if (!ignoreCase) return left == right;
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](wchar_t a, wchar_t b) { return Fold(a) == Fold(b); });
}

}  // namespace Velta::Xml
