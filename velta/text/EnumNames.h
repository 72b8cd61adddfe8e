// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <string_view>
#include <type_traits>

namespace Velta {

template <class Enumeration>
struct EnumName {
  Enumeration value;
  const wchar_t* name;
};

/// The names of an enumeration, for texts and for what is stored. Specialise it:
///
/// ```cpp
/// template <>
/// struct Velta::EnumNames<Mode> {
///   static constexpr Velta::EnumName<Mode> kNames[] = {{Mode::kFast, L"fast"},
///                                                      {Mode::kSafe, L"safe"}};
/// };
/// ```
///
/// An enumeration without names is its number.
template <class Enumeration>
struct EnumNames;

template <class T>
concept NamedEnum = std::is_enum_v<T> && requires {
  { EnumNames<T>::kNames[0].name } -> std::convertible_to<const wchar_t*>;
};

/// The name of a value; null when it has none.
template <NamedEnum Enumeration>
constexpr const wchar_t* NameOf(Enumeration value) noexcept {
  for (const EnumName<Enumeration>& entry : EnumNames<Enumeration>::kNames) {
    if (entry.value == value) {
      return entry.name;
    }
  }
  return nullptr;
}

/// The value of that name, compared exactly; null when there is none.
template <NamedEnum Enumeration>
constexpr const Enumeration* ValueNamed(std::wstring_view name) noexcept {
  for (const EnumName<Enumeration>& entry : EnumNames<Enumeration>::kNames) {
    if (name == entry.name) {
      return &entry.value;
    }
  }
  return nullptr;
}

}  // namespace Velta
