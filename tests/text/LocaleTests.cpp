// SPDX-License-Identifier: MIT
#include "tests/support/LoggedEvents.h"
#include "tests/support/Raises.h"
#include "tests/support/SystemCallOverride.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/text/MLocale.h"

#include <clocale>
#include <cstddef>
#include <ios>
#include <locale>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

#if defined(_WIN32)
constexpr const wchar_t* kCommaLocale = L"de-DE";
constexpr const char* kUtf8 = ".UTF-8";
#else
constexpr const wchar_t* kCommaLocale = L"de_DE.UTF-8";
constexpr const char* kUtf8 = "C.UTF-8";
#endif

MString Streamed(const std::locale& locale, double value) {
  // Takes what has been freed, each block as a whole: a facet may still point there.
  std::vector<std::vector<char>> memory;
  memory.reserve(1024);
  for (std::size_t size = 1024; size > 0; --size) {
    memory.emplace_back(size, 'x');
  }
  std::wostringstream stream;
  stream.imbue(locale);
  stream.precision(10);
  stream << value << L' ' << 1234567 << L' ' << std::boolalpha << true;
  return stream.str();
}

MString Formatted(const MLocale& locale, const wchar_t* format, double value) {
  MString text = L"old";
  locale.Format(text, format, value);
  return text;
}

TEST(MLocale, KeepsOnlyTheDecimalSeparatorOfALocale) {
  const MLocale& classic = MLocale::GetClassic();
  EXPECT_EQ(Streamed(classic.GetStreamLocale(), 1234567.5), L"1234567.5 1234567 true");
  EXPECT_EQ(Formatted(classic, L"%.15e", 1.5), L"1.500000000000000e+00");
  EXPECT_EQ(classic.GetName(), "C");

  const MLocale comma(kCommaLocale);
  const MLocale copy(comma);
  EXPECT_EQ(copy.GetName(), comma.GetName());
  for (const MLocale* const locale : {&comma, &copy}) {
    EXPECT_EQ(Streamed(locale->GetStreamLocale(), 1234567.5), L"1234567,5 1234567 true");
    EXPECT_EQ(Formatted(*locale, L"%.2f", 1234567.25), L"1234567,25");
  }
  const std::locale kept = MLocale(kCommaLocale).GetStreamLocale();
  EXPECT_EQ(Streamed(kept, 0.5), L"0,5 1234567 true") << "without the instance";
}

TEST(MLocale, FormatTakesTextOfAnyLengthAlsoFromTheTextThatItReplaces) {
  const MLocale& classic = MLocale::GetClassic();
  EXPECT_EQ(Formatted(classic, L"", 0.0), L"");
  EXPECT_EQ(Formatted(classic, L"%.0f", 1e300).size(), 301u);
  EXPECT_EQ(Formatted(classic, L"%5000.1f|", 2.25), MString(4997, L' ') + L"2.2|");
  MString text = L"<%ls> and %d, longer than a string holds in itself";
  classic.Format(text, text.c_str(), L"one", 2);
  EXPECT_EQ(text, L"<one> and 2, longer than a string holds in itself");
  classic.Format(text, L"%ls, and again", text.c_str());
  EXPECT_EQ(text, L"<one> and 2, longer than a string holds in itself, and again");
}

// The process's own locale is the host's business: it must reach none of the framework's numbers.
TEST(MLocale, IsNotDisturbedByTheUsersLocale) {
  const MLocale& classic = MLocale::GetClassic();
  const std::string user = MLocale(kCommaLocale).GetName();
  ASSERT_NE(std::setlocale(LC_ALL, user.c_str()), nullptr);
  const std::locale before = std::locale::global(std::locale(user.c_str()));
  EXPECT_EQ(Formatted(classic, L"%g", 1.5), L"1.5");
  EXPECT_EQ(Streamed(classic.GetStreamLocale(), 1234567.5), L"1234567.5 1234567 true");
  std::locale::global(before);
  std::setlocale(LC_ALL, "C");
}

TEST(MLocale, AnUnknownNameIsRefusedWithTheNameAsked) {
  const wchar_t* const names[] = {L"xx-bogus", L"xx-bokm\u00e5l", L"xx\x4e2d", nullptr};
  for (const char* const current : {"C", kUtf8}) {  // which knows only some of the names
    ASSERT_NE(std::setlocale(LC_ALL, current), nullptr);
    for (const wchar_t* const name : names) {
      const MString given = name != nullptr ? name : L"";
      EXPECT_THAT([=] { MLocale{name}; },
                  RaisesWith(L"MLocale.MLocale:BadCppLocale", Contains(Pair(L"name", given))));
    }
  }
  std::setlocale(LC_ALL, "C");
}

TEST(MLocale, ANameThatOnlyTheStreamsKnowIsRefusedAsBadCppLocaleToo) {
  const SystemCallOverride refuse(Velta::Platform::systemCalls.createLocale,
                                  [](const char*) -> _locale_t { return nullptr; });
  const std::vector<LoggedEvent> events = LogDuring([] {
    EXPECT_THAT(
        [] { MLocale{L"C"}; },
        RaisesWith(L"MLocale.MLocale:BadCppLocale",
                   ElementsAre(Pair(L"errorMessage", L"Unknown exception"), Pair(L"name", L"C"))));
  });
  EXPECT_THAT(events, Logged({"Root_error BadCLocale MLocale.MLocale",
                              "Cascade_error BadCppLocale MLocale.MLocale"}));
  EXPECT_THAT([] { MLocale{MLocale::GetClassic()}; },
              RaisesWith(L"MLocale.MLocale:BadCppLocale", Contains(Pair(L"name", L"C"))));
}

}  // namespace
