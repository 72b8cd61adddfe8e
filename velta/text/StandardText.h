// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"
#include "velta/text/TextOf.h"

#include <chrono>
#include <filesystem>
#include <ratio>
#include <string>
#include <system_error>
#include <type_traits>

namespace Velta {

/// A path, as it is named; where names are bytes they are taken for UTF-8, under every locale.
template <>
struct TextOf<std::filesystem::path> {
  static MString Make(const std::filesystem::path& path) {
    return TextOf<std::filesystem::path::string_type>::Make(path.native());
  }
};

/// An error of the system or of a library: "No such file or directory (generic 2)".
template <>
struct TextOf<std::error_code> {
  static MString Make(const std::error_code& error) {
    return FromUtf8Lossy(error.message() + " (" + error.category().name() + ' ' +
                         std::to_string(error.value()) + ')');
  }
};

namespace Text {

/// What stands after a number of this unit; null when the unit has no name.
template <class Unit>
constexpr const wchar_t* UnitText() noexcept {
  if (std::is_same_v<Unit, std::nano>) {
    return L" ns";
  }
  if (std::is_same_v<Unit, std::micro>) {
    return L" us";
  }
  if (std::is_same_v<Unit, std::milli>) {
    return L" ms";
  }
  if (std::is_same_v<Unit, std::ratio<1>>) {
    return L" s";
  }
  if (std::is_same_v<Unit, std::ratio<60>>) {
    return L" min";
  }
  if (std::is_same_v<Unit, std::ratio<3600>>) {
    return L" h";
  }
  if (std::is_same_v<Unit, std::ratio<86400>>) {
    return L" d";
  }
  return nullptr;
}

}  // namespace Text

/// A duration in its own unit: "1500 ms", "2.5 s". A unit without a name is given in seconds.
template <class Number, class Period>
struct TextOf<std::chrono::duration<Number, Period>> {
  static MString Make(const std::chrono::duration<Number, Period>& duration) {
    constexpr const wchar_t* kUnit = Text::UnitText<typename Period::type>();
    if constexpr (kUnit != nullptr) {
      return TextOf<Number>::Make(duration.count()) + kUnit;
    } else {
      return TextOf<double>::Make(std::chrono::duration<double>(duration).count()) + L" s";
    }
  }
};

}  // namespace Velta
