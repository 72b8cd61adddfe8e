// SPDX-License-Identifier: MIT
#include "velta/serialisation/StandardValues.h"

#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <ratio>
#include <string_view>

namespace Velta::Serialisation {
namespace {

constexpr std::int64_t kLowest = (std::numeric_limits<std::int64_t>::min)();
constexpr std::int64_t kHighest = (std::numeric_limits<std::int64_t>::max)();

struct Unit {
  std::wstring_view text;
  std::int64_t nanoseconds;
};

template <class Period>
constexpr Unit UnitOf() {
  return {Text::UnitText<Period>(), NanosecondsOf<Period>()};
}

// No one's text ends in another's.
constexpr std::array kUnits = {UnitOf<std::nano>(),        UnitOf<std::micro>(),
                               UnitOf<std::milli>(),       UnitOf<std::ratio<1>>(),
                               UnitOf<std::ratio<60>>(),   UnitOf<std::ratio<3600>>(),
                               UnitOf<std::ratio<86400>>()};

/// Takes the unit off the end of a text.
/// @return its nanoseconds; nothing when there is none
std::optional<std::int64_t> TakeUnit(MString& text) {
  for (const Unit& unit : kUnits) {
    if (text.ends_with(unit.text)) {
      text.resize(text.size() - unit.text.size());
      return unit.nanoseconds;
    }
  }
  return std::nullopt;
}

/// @param factor  positive
std::optional<std::int64_t> Multiply(std::int64_t number, std::int64_t factor) noexcept {
  if (number > kHighest / factor || number < kLowest / factor) {
    return std::nullopt;
  }
  return number * factor;
}

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kDay = 86'400 * kSecond;

/// Before 1970 too: the day, and what has passed of it.
struct DayAndTime {
  std::int64_t day;
  std::int64_t nanoseconds;
};

DayAndTime Split(std::int64_t ticks, std::int64_t tick) noexcept {
  const std::int64_t ticksPerDay = kDay / tick;
  std::int64_t day = ticks / ticksPerDay;
  std::int64_t rest = ticks % ticksPerDay;
  if (rest < 0) {
    --day;
    rest += ticksPerDay;
  }
  return {day, rest * tick};
}

std::optional<std::int64_t> Join(const DayAndTime& time, std::int64_t tick) noexcept {
  const std::int64_t ticksPerDay = kDay / tick;
  // The day before, where that is nearer to zero, keeps the first moments of the range in it.
  const bool isBefore = time.day < 0;
  const std::optional<std::int64_t> begin =
      Multiply(isBefore ? time.day + 1 : time.day, ticksPerDay);
  const std::int64_t rest = time.nanoseconds / tick - (isBefore ? ticksPerDay : 0);
  if (!begin || (rest > 0 && *begin > kHighest - rest) || (rest < 0 && *begin < kLowest - rest)) {
    return std::nullopt;
  }
  return *begin + rest;
}

void AppendDigits(MString& text, std::int64_t number, std::size_t digits) {
  text.resize(text.size() + digits);
  for (std::size_t i = text.size(); digits > 0; --digits, number /= 10) {
    text[--i] = static_cast<wchar_t>(L'0' + number % 10);
  }
}

/// Takes a fixed number of digits, and the mark before them, off the begin of a text.
bool TakeDigits(std::wstring_view& text, std::wstring_view mark, std::size_t digits, int& number) {
  if (!text.starts_with(mark) || text.size() < mark.size() + digits) {
    return false;
  }
  const std::optional<std::uint64_t> parsed = ParseUnsigned(text.substr(mark.size(), digits));
  if (parsed) {
    number = static_cast<int>(*parsed);
    text.remove_prefix(mark.size() + digits);
  }
  return parsed.has_value();
}

/// Takes ".25": from one digit to nine.
bool TakeFraction(std::wstring_view& text, std::int64_t& nanoseconds) {
  nanoseconds = 0;
  if (!text.starts_with(L'.')) {
    return true;
  }
  text.remove_prefix(1);
  const std::size_t digits = (std::min)(text.find_first_not_of(L"0123456789"), text.size());
  const std::optional<std::uint64_t> parsed = ParseUnsigned(text.substr(0, digits));
  if (!parsed || digits > 9) {
    return false;
  }
  nanoseconds = static_cast<std::int64_t>(*parsed);
  for (std::size_t i = digits; i < 9; ++i) {
    nanoseconds *= 10;
  }
  text.remove_prefix(digits);
  return true;
}

std::optional<DayAndTime> ParseTime(std::wstring_view text) {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  std::int64_t fraction = 0;
  if (!TakeDigits(text, L"", 4, year) || !TakeDigits(text, L"-", 2, month) ||
      !TakeDigits(text, L"-", 2, day) || !TakeDigits(text, L"T", 2, hour) ||
      !TakeDigits(text, L":", 2, minute) || !TakeDigits(text, L":", 2, second) ||
      !TakeFraction(text, fraction) || text != L"Z") {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  const std::int64_t seconds = (hour * 60 + minute) * 60 + second;
  return DayAndTime{std::chrono::sys_days(date).time_since_epoch().count(),
                    seconds * kSecond + fraction};
}

std::optional<MString> TextOfTime(const DayAndTime& time) {
  constexpr std::int64_t kFirstDay = -719'528;  // 0000-01-01
  constexpr std::int64_t kLastDay = 2'932'896;  // 9999-12-31
  if (time.day < kFirstDay || time.day > kLastDay) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{
      std::chrono::sys_days(std::chrono::days(static_cast<int>(time.day)))};
  const std::int64_t seconds = time.nanoseconds / kSecond;
  MString text;
  AppendDigits(text, static_cast<int>(date.year()), 4);
  AppendDigits(text += L'-', static_cast<unsigned>(date.month()), 2);
  AppendDigits(text += L'-', static_cast<unsigned>(date.day()), 2);
  AppendDigits(text += L'T', seconds / 3600, 2);
  AppendDigits(text += L':', seconds / 60 % 60, 2);
  AppendDigits(text += L':', seconds % 60, 2);
  if (const std::int64_t fraction = time.nanoseconds % kSecond; fraction != 0) {
    AppendDigits(text += L'.', fraction, 9);
    text.resize(text.find_last_not_of(L'0') + 1);
  }
  return text += L'Z';
}

const wchar_t kRoot[] = L"ExceptionChain";
const wchar_t kChain[] = L"Exception";

/// Reads the chain that is in the group in which the filer stands.
bool ReadChainHere(IInFilerTagged& filer, MException& chain) {
  MException read;
  if (!filer.BeginGroup(kChain)) {
    return false;
  }
  const bool isRead = read.Read(filer, kChain);
  if (!filer.EndGroup() || !isRead) {
    return false;
  }
  chain.Swap(read);
  return true;
}

}  // namespace

std::optional<std::int64_t> ReadDuration(IInFilerTagged& filer, const MString& tag,
                                         std::int64_t unitNanoseconds) {
  std::optional<MString> text = ReadText(filer, tag);
  const std::optional<std::int64_t> unit = text ? TakeUnit(*text) : std::nullopt;
  const std::optional<std::int64_t> number = unit ? ParseSigned(*text) : std::nullopt;
  if (!number || *unit % unitNanoseconds == 0) {
    return number ? Multiply(*number, *unit / unitNanoseconds) : std::nullopt;
  }
  const std::int64_t divisor = unitNanoseconds / *unit;  // each unit divides the next
  return *number % divisor == 0 ? std::optional(*number / divisor) : std::nullopt;
}

std::optional<double> ReadRealDuration(IInFilerTagged& filer, const MString& tag,
                                       std::int64_t unitNanoseconds) {
  std::optional<MString> text = ReadText(filer, tag);
  const std::optional<std::int64_t> unit = text ? TakeUnit(*text) : std::nullopt;
  double number = 0;
  if (!unit || !ParseExact(*text, number)) {
    return std::nullopt;
  }
  return *unit == unitNanoseconds
             ? number
             : number * static_cast<double>(*unit) / static_cast<double>(unitNanoseconds);
}

bool WriteTime(IOutFilerTagged& filer, const MString& tag, std::int64_t ticks,
               std::int64_t tickNanoseconds) {
  const std::optional<MString> text = TextOfTime(Split(ticks, tickNanoseconds));
  return text && filer.WriteString(tag, *text);
}

std::optional<std::int64_t> ReadTime(IInFilerTagged& filer, const MString& tag,
                                     std::int64_t tickNanoseconds) {
  const std::optional<MString> text = ReadText(filer, tag);
  const std::optional<DayAndTime> time = text ? ParseTime(*text) : std::nullopt;
  return time ? Join(*time, tickNanoseconds) : std::nullopt;
}

bool WriteChain(IOutFilerTagged& filer, const MString& tag, const MException& chain) {
  MOutFilerTaggedXml document(kRoot, MString());
  MString text;
  if (!chain.Write(document, kChain) || !document.GetText(&text)) {
    return false;
  }
  // A filer that can nest documents can also tell groups of one name apart; others refuse it.
  return filer.WriteEmbeddedDocument(tag, text) || filer.WriteString(tag, text);
}

bool ReadChain(IInFilerTagged& filer, const MString& tag, MException& chain) {
  if (!filer.HasUniqueGroupNames()) {
    return ReadGroup(filer, tag, [&] {
      return ReadGroup(filer, kRoot, [&] { return ReadChainHere(filer, chain); });
    });
  }
  const std::optional<MString> text = ReadText(filer, tag);
  if (!text) {
    return false;
  }
  MInFilerTaggedXml document(*text, kRoot, MString());
  if (document.GetFault().kind == MInFilerTaggedXml::FaultKind::kMemory) {
    throw std::bad_alloc();
  }
  return ReadChainHere(document, chain);
}

}  // namespace Velta::Serialisation
