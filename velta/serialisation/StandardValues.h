// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MException.h"
#include "velta/platform/Api.h"
#include "velta/serialisation/FieldAccess.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"
#include "velta/serialisation/Values.h"
#include "velta/text/MString.h"
#include "velta/text/StandardText.h"
#include "velta/text/Utf8.h"

#include <chrono>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <ratio>
#include <string>
#include <type_traits>
#include <utility>

namespace Velta {
namespace Serialisation {

/// Nanoseconds of a unit that has a name.
template <class Period>
constexpr std::int64_t NanosecondsOf() noexcept {
  using Nanoseconds = std::ratio_divide<Period, std::nano>;
  static_assert(Nanoseconds::den == 1);
  return Nanoseconds::num;
}

template <class Period>
concept NamedUnit = Text::UnitText<typename Period::type>() != nullptr;

VELTA_API std::optional<std::int64_t> ReadDuration(IInFilerTagged& filer, const MString& tag,
                                                   std::int64_t unitNanoseconds);
VELTA_API std::optional<double> ReadRealDuration(IInFilerTagged& filer, const MString& tag,
                                                 std::int64_t unitNanoseconds);

/// A time as ticks since 1970, for a clock with whole nanoseconds or days as its ticks' length.
VELTA_API bool WriteTime(IOutFilerTagged& filer, const MString& tag, std::int64_t ticks,
                         std::int64_t tickNanoseconds);
VELTA_API std::optional<std::int64_t> ReadTime(IInFilerTagged& filer, const MString& tag,
                                               std::int64_t tickNanoseconds);

VELTA_API bool WriteChain(IOutFilerTagged& filer, const MString& tag, const MException& chain);
VELTA_API bool ReadChain(IInFilerTagged& filer, const MString& tag, MException& chain);

}  // namespace Serialisation

/// A text of the number and its unit, "1500 ms". It is read into any unit in which it is a whole
/// number; into a floating one always, rounded where the units differ.
template <class Number, class Period>
  requires Serialisation::NamedUnit<Period> &&
           (Serialisation::Integer<Number> || std::same_as<Number, double>)
struct ValueOf<std::chrono::duration<Number, Period>> {
  using Duration = std::chrono::duration<Number, Period>;

  static bool Write(IOutFilerTagged& filer, const MString& tag, const Duration& value) {
    const wchar_t* const unit = Text::UnitText<typename Period::type>();
    if constexpr (std::integral<Number>) {
      return filer.WriteString(tag, TextOf<Number>::Make(value.count()) + unit);
    } else {
      return filer.WriteString(tag, Serialisation::ExactText(value.count()) + unit);
    }
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, Duration& value) {
    constexpr std::int64_t kUnit = Serialisation::NanosecondsOf<Period>();
    if constexpr (std::integral<Number>) {
      const std::optional<std::int64_t> count = Serialisation::ReadDuration(filer, tag, kUnit);
      if (!count || !std::in_range<Number>(*count)) {
        return false;
      }
      value = Duration(static_cast<Number>(*count));
      return true;
    } else {
      const std::optional<double> count = Serialisation::ReadRealDuration(filer, tag, kUnit);
      value = count ? Duration(*count) : value;
      return count.has_value();
    }
  }
};

/// A text in UTC, "2026-11-22T08:15:03.25Z", with as many digits as are needed. What is finer than
/// the type's ticks is cut when it is read. Years have four digits, 0000 to 9999.
template <class Duration>
  requires Serialisation::Integer<typename Duration::rep> &&
           Serialisation::NamedUnit<typename Duration::period>
struct ValueOf<std::chrono::sys_time<Duration>> {
  using Time = std::chrono::sys_time<Duration>;
  static constexpr std::int64_t kTick = Serialisation::NanosecondsOf<typename Duration::period>();

  static bool Write(IOutFilerTagged& filer, const MString& tag, const Time& value) {
    return Serialisation::WriteTime(filer, tag, value.time_since_epoch().count(), kTick);
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, Time& value) {
    const std::optional<std::int64_t> ticks = Serialisation::ReadTime(filer, tag, kTick);
    if (!ticks || !std::in_range<typename Duration::rep>(*ticks)) {
      return false;
    }
    value = Time(Duration(static_cast<typename Duration::rep>(*ticks)));
    return true;
  }
};

/// A text. Where names are bytes they must be UTF-8: "Utf8.FromUtf8:MalformedText" is thrown.
template <>
struct ValueOf<std::filesystem::path> {
  static bool Write(IOutFilerTagged& filer, const MString& tag,
                    const std::filesystem::path& value) {
    return ValueOf<std::filesystem::path::string_type>::Write(filer, tag, value.native());
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, std::filesystem::path& value) {
    std::filesystem::path::string_type name;
    const bool read = ValueOf<std::filesystem::path::string_type>::Read(filer, tag, name);
    if (read) {
      value = std::move(name);
    }
    return read;
  }
};

/// A document "ExceptionChain": embedded over XML, as text where groups of one name cannot be
/// repeated.
template <>
struct ValueOf<MException> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const MException& value) {
    return Serialisation::WriteChain(filer, tag, value);
  }
  static bool Read(IInFilerTagged& filer, const MString& tag, MException& value) {
    return Serialisation::ReadChain(filer, tag, value);
  }
};

}  // namespace Velta
