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

/// A duration in its own unit: "1500 ms", "2.5 s". A unit without a name is given in seconds.
template <class Number, class Period>
struct TextOf<std::chrono::duration<Number, Period>> {
  static MString Make(const std::chrono::duration<Number, Period>& duration) {
    using Ratio = typename Period::type;
    constexpr const wchar_t* kUnit = std::is_same_v<Ratio, std::nano>           ? L" ns"
                                     : std::is_same_v<Ratio, std::micro>        ? L" us"
                                     : std::is_same_v<Ratio, std::milli>        ? L" ms"
                                     : std::is_same_v<Ratio, std::ratio<1>>     ? L" s"
                                     : std::is_same_v<Ratio, std::ratio<60>>    ? L" min"
                                     : std::is_same_v<Ratio, std::ratio<3600>>  ? L" h"
                                     : std::is_same_v<Ratio, std::ratio<86400>> ? L" d"
                                                                                : nullptr;
    if constexpr (kUnit != nullptr) {
      return TextOf<Number>::Make(duration.count()) + kUnit;
    } else {
      return TextOf<double>::Make(std::chrono::duration<double>(duration).count()) + L" s";
    }
  }
};

}  // namespace Velta
