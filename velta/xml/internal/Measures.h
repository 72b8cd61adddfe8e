// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Velta::Xml {

// Numbers that must not mix. Each is a 32-bit integer: neither conversion costs anything.

/// An element of a document, by the number of its record.
enum class ElementId : std::int32_t {
  kNone = 0,      ///< in a link: there is no such element
  kDocument = 0,  ///< as a parent: the document, which is not an element itself
};

/// A place in a text: how many characters are before it.
enum class Offset : std::int32_t { kNowhere = -1, kBegin = 0 };

/// A number of characters; as the distance between two places it may be negative.
enum class Length : std::int32_t { kZero = 0 };

constexpr std::int32_t ToInt(ElementId element) noexcept {
  return static_cast<std::int32_t>(element);
}
constexpr std::int32_t ToInt(Offset offset) noexcept { return static_cast<std::int32_t>(offset); }
constexpr std::int32_t ToInt(Length length) noexcept { return static_cast<std::int32_t>(length); }

constexpr Offset OffsetAt(std::size_t count) noexcept { return static_cast<Offset>(count); }
constexpr Length LengthFrom(std::size_t count) noexcept { return static_cast<Length>(count); }
constexpr Length LengthOf(std::wstring_view text) noexcept { return LengthFrom(text.size()); }

constexpr Length operator+(Length left, Length right) noexcept {
  return static_cast<Length>(ToInt(left) + ToInt(right));
}
constexpr Length operator-(Length left, Length right) noexcept {
  return static_cast<Length>(ToInt(left) - ToInt(right));
}
constexpr Length& operator+=(Length& left, Length right) noexcept { return left = left + right; }
constexpr Length& operator-=(Length& left, Length right) noexcept { return left = left - right; }

constexpr Offset operator+(Offset offset, Length length) noexcept {
  return static_cast<Offset>(ToInt(offset) + ToInt(length));
}
constexpr Offset operator-(Offset offset, Length length) noexcept {
  return static_cast<Offset>(ToInt(offset) - ToInt(length));
}
constexpr Offset& operator+=(Offset& offset, Length length) noexcept {
  return offset = offset + length;
}
constexpr Length operator-(Offset left, Offset right) noexcept {
  return static_cast<Length>(ToInt(left) - ToInt(right));
}

/// A part of a text.
struct Span {
  Offset begin = Offset::kBegin;
  Offset end = Offset::kBegin;

  [[nodiscard]] constexpr Length Size() const noexcept { return end - begin; }
};

}  // namespace Velta::Xml
