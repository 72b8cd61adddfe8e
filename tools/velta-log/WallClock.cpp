// SPDX-License-Identifier: MIT
#include "WallClock.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>

namespace Velta::Logging {
namespace {

constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// Takes the next word off the text; days below ten may follow two spaces.
std::string_view Word(std::string_view& text, std::string_view separators) {
  text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
  const std::string_view word = text.substr(0, text.find_first_of(separators));
  text.remove_prefix(word.size());
  return word;
}

/// -1 if the word is no number; no part of a date is negative.
int Number(std::string_view word) {
  int number = -1;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size() ? number : -1;
}

void AppendPadded(std::string& text, std::int64_t number, std::size_t width) {
  const std::string digits = std::to_string(number);
  if (digits.size() < width) {
    text.append(width - digits.size(), '0');
  }
  text += digits;
}

}  // namespace

std::optional<Micros> ParseWallClock(std::string_view text) {
  using namespace std::chrono;
  static_cast<void>(Word(text, " "));  // the weekday follows from the date
  const auto monthName = std::ranges::find(kMonths, Word(text, " "));
  const int dayNumber = Number(Word(text, " "));
  const int hour = Number(Word(text, " :"));
  const int minute = Number(Word(text, ":"));
  const int second = Number(Word(text, ": "));
  const int yearNumber = Number(Word(text, " "));
  if (monthName == kMonths.end() || dayNumber < 1 || hour < 0 || hour > 23 || minute < 0 ||
      minute > 59 || second < 0 || second > 60 || yearNumber < 1970 || yearNumber > 9999) {
    return std::nullopt;
  }
  const auto monthNumber = static_cast<unsigned>(std::distance(kMonths.begin(), monthName)) + 1;
  const year_month_day date(year(yearNumber), month(monthNumber),
                            day(static_cast<unsigned>(dayNumber)));
  if (!date.ok() || !text.empty()) {
    return std::nullopt;
  }
  return duration_cast<microseconds>(sys_days(date).time_since_epoch() + hours(hour) +
                                     minutes(minute) + seconds(second))
      .count();
}

std::string FormatWallClock(Micros time) {
  using namespace std::chrono;
  const microseconds whole(time);
  const auto dayCount = floor<days>(whole);
  const year_month_day date{sys_days(dayCount)};
  const hh_mm_ss<microseconds> clock(whole - dayCount);
  std::string text;
  AppendPadded(text, int{date.year()}, 4);
  text += '-';
  AppendPadded(text, unsigned{date.month()}, 2);
  text += '-';
  AppendPadded(text, unsigned{date.day()}, 2);
  text += 'T';
  AppendPadded(text, clock.hours().count(), 2);
  text += ':';
  AppendPadded(text, clock.minutes().count(), 2);
  text += ':';
  AppendPadded(text, clock.seconds().count(), 2);
  text += '.';
  AppendPadded(text, clock.subseconds().count(), 6);
  return text;
}

}  // namespace Velta::Logging
