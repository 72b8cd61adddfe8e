// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/text/EnumNames.h"
#include "velta/text/MString.h"
#include "velta/text/Utf8.h"

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace Velta {

/// How a value reads where people see it, in a parameter of an error above all.
///
/// `TextOf<T>::Make(value)` gives the text. There is one for every integer type, enumerations
/// (the name that `EnumNames` gives, else the number), bool ("true", "false"), float and double
/// (the shortest text that reads back as the same number), wide text, and narrow text in UTF-8,
/// with U+FFFD for what is none; a null pointer to text is empty. `velta/text/StandardText.h` has
/// more. Specialise it for types of your own.
///
/// Single characters have none: a number may be meant, or a text.
template <class T>
struct TextOf;

template <class T>
concept HasText = requires(const std::decay_t<const T>& value) {
  { TextOf<std::decay_t<const T>>::Make(value) } -> std::convertible_to<MString>;
};

template <class T>
concept Character = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
                    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

template <class T, class View>
concept TextLike = std::convertible_to<const T&, View> && !std::is_null_pointer_v<T>;

namespace Text {

VELTA_API MString SignedText(std::int64_t value);
VELTA_API MString UnsignedText(std::uint64_t value);
VELTA_API MString RealText(float value);
VELTA_API MString RealText(double value);

}  // namespace Text

template <std::integral T>
  requires(!Character<T>)
struct TextOf<T> {
  static MString Make(T value) {
    if constexpr (std::is_signed_v<T>) {
      return Text::SignedText(value);
    } else {
      return Text::UnsignedText(value);
    }
  }
};

template <>
struct TextOf<bool> {
  static MString Make(bool value) { return value ? L"true" : L"false"; }
};

template <class T>
  requires std::is_enum_v<T>
struct TextOf<T> {
  static MString Make(T value) {
    if constexpr (NamedEnum<T>) {
      if (const wchar_t* const name = NameOf(value)) {
        return name;
      }
    }
    using Number = std::underlying_type_t<T>;
    if constexpr (std::is_signed_v<Number>) {
      return Text::SignedText(static_cast<std::int64_t>(value));
    } else {
      return Text::UnsignedText(static_cast<std::uint64_t>(value));
    }
  }
};

template <class T>
  requires std::same_as<T, float> || std::same_as<T, double>
struct TextOf<T> {
  static MString Make(T value) { return Text::RealText(value); }
};

template <class T>
  requires TextLike<T, std::wstring_view>
struct TextOf<T> {
  static MString Make(const T& text) {
    if constexpr (std::is_pointer_v<T>) {
      return text != nullptr ? MString(text) : MString();
    } else {
      return MString(std::wstring_view(text));
    }
  }
};

template <class T>
  requires TextLike<T, std::string_view>
struct TextOf<T> {
  static MString Make(const T& text) {
    if constexpr (std::is_pointer_v<T>) {
      return text != nullptr ? FromUtf8Lossy(text) : MString();
    } else {
      return FromUtf8Lossy(std::string_view(text));
    }
  }
};

template <class T>
  requires TextLike<T, std::u8string_view>
struct TextOf<T> {
  static MString Make(const T& text) {
    if constexpr (std::is_pointer_v<T>) {
      if (text == nullptr) {
        return MString();
      }
    }
    const std::u8string_view bytes(text);
    return FromUtf8Lossy({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
};

}  // namespace Velta
