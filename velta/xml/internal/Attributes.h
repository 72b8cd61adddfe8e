// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/Search.h"

#include <cstddef>
#include <string_view>

namespace Velta::Xml {

/// One attribute as it is written.
struct Attribute {
  std::wstring_view name;
  std::wstring_view value;       // without its quotes, not decoded
  const wchar_t* end = nullptr;  // after the closing quote
  bool isQuoted = false;
  bool isComplete = true;  // false when there is a "=" or a quote, and the tag ends too early
};

/// Goes through the attributes of a tag. Like the tokenizer, which has found the tag's end, it
/// takes a quote for one only after an equals sign.
class AttributeReader {
 public:
  /// @param begin  after the tag's name
  /// @param end    where the mark that closes the tag begins
  AttributeReader(const wchar_t* begin, const wchar_t* end) noexcept : next_(begin), end_(end) {}

  /// The next attribute. What is no attribute is passed over, or has an empty name.
  [[nodiscard]] bool Next(Attribute& attribute) noexcept {
    while (next_ != end_ && *next_ != L'=' && IsNameEnd(*next_)) {
      ++next_;
    }
    if (next_ == end_) {
      return false;
    }
    const wchar_t* const name = next_;
    while (next_ != end_ && !IsNameEnd(*next_)) {
      ++next_;
    }
    attribute.name = View(name, next_);
    attribute.value = View(next_, next_);
    attribute.isQuoted = false;
    attribute.isComplete = true;

    const wchar_t* const mark = SkipSpaces(next_);
    if (mark != end_ && *mark == L'=') {
      ReadValue(SkipSpaces(mark + 1), attribute);
    }
    attribute.end = next_;
    return true;
  }

  [[nodiscard]] const wchar_t* Position() const noexcept { return next_; }

 private:
  [[nodiscard]] static std::wstring_view View(const wchar_t* begin, const wchar_t* end) noexcept {
    return {begin, static_cast<std::size_t>(end - begin)};
  }

  [[nodiscard]] const wchar_t* SkipSpaces(const wchar_t* at) const noexcept {
    while (at != end_ && IsSpace(*at)) {
      ++at;
    }
    return at;
  }

  void ReadValue(const wchar_t* begin, Attribute& attribute) noexcept {
    if (begin != end_ && IsQuote(*begin)) {
      next_ = FindCharacter(begin + 1, end_, *begin);
      attribute.value = View(begin + 1, next_);
      attribute.isQuoted = true;
      attribute.isComplete = next_ != end_;
      if (next_ != end_) {
        ++next_;
      }
    } else {
      next_ = begin;
      while (next_ != end_ && *next_ != L'=' && !IsSpace(*next_)) {
        ++next_;
      }
      attribute.value = View(begin, next_);
      attribute.isComplete = next_ != begin;
    }
  }

  const wchar_t* next_;
  const wchar_t* end_;
};

}  // namespace Velta::Xml
