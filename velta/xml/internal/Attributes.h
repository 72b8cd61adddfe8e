// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/Search.h"

#include <string_view>

namespace Velta::Xml {

/// One attribute as it is written.
struct Attribute {
  std::wstring_view name;
  std::wstring_view value;       // without its quotes, not decoded
  const wchar_t* end = nullptr;  // behind the closing quote
  bool isQuoted = false;
  bool isComplete =
      true;  // false when it has a "=" or a quote and the tag ends before the value does
};

/// Goes through the attributes of a tag, in agreement with how the tokenizer found the tag's end:
/// quotes hide only what follows an equals sign.
class AttributeReader {
 public:
  /// @param from  behind the tag's name
  /// @param to    where the mark that closes the tag begins
  AttributeReader(const wchar_t* from, const wchar_t* to) noexcept : next(from), end(to) {}

  /// The next attribute. What is no attribute is passed over, or has an empty name.
  [[nodiscard]] bool Next(Attribute& attribute) noexcept {
    while (next != end && *next != L'=' && IsNameEnd(*next)) {
      ++next;
    }
    if (next == end) {
      return false;
    }
    const wchar_t* const name = next;
    while (next != end && !IsNameEnd(*next)) {
      ++next;
    }
    attribute.name = View(name, next);
    attribute.value = View(next, next);
    attribute.isQuoted = false;
    attribute.isComplete = true;

    const wchar_t* at = SkipSpaces(next);
    if (at != end && *at == L'=') {
      at = SkipSpaces(at + 1);
      if (at != end && IsQuote(*at)) {
        next = FindCharacter(at + 1, end, *at);
        attribute.value = View(at + 1, next);
        attribute.isQuoted = true;
        attribute.isComplete = next != end;
        if (next != end) {
          ++next;
        }
      } else {
        next = at;
        while (next != end && *next != L'=' && !IsSpace(*next)) {
          ++next;
        }
        attribute.value = View(at, next);
        attribute.isComplete = next != at;
      }
    }
    attribute.end = next;
    return true;
  }

  [[nodiscard]] const wchar_t* Position() const noexcept { return next; }

 private:
  [[nodiscard]] static std::wstring_view View(const wchar_t* from, const wchar_t* to) noexcept {
    return {from, static_cast<std::size_t>(to - from)};
  }

  [[nodiscard]] const wchar_t* SkipSpaces(const wchar_t* at) const noexcept {
    while (at != end && IsSpace(*at)) {
      ++at;
    }
    return at;
  }

  const wchar_t* next;
  const wchar_t* end;
};

}  // namespace Velta::Xml
