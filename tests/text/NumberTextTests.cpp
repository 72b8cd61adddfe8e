// SPDX-License-Identifier: MIT
#include "velta/text/NumberText.h"

#include "tests/support/StressScale.h"
#include "velta/text/MLocale.h"
#include "velta/text/internal/DecimalText.h"
#include "velta/text/internal/ScientificText.h"

#include <cfenv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <limits>
#include <random>

#include <gtest/gtest.h>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
#if defined(_WIN32)
constexpr const char* kUtf8 = ".UTF-8";
#else
constexpr const char* kUtf8 = "C.UTF-8";
#endif

bool AreSame(double a, double b) {
  return (std::isnan(a) ? std::isnan(b) : a == b) && std::signbit(a) == std::signbit(b);
}

TEST(ScanDouble, ReadsEveryFormOfANumberAndIgnoresWhatFollows) {
  const struct {
    const wchar_t* text;
    double value;
    std::size_t length;  // 0 when nothing is read
  } cases[] = {{L" \t\n12abc", 12.0, 5},
               {L"-1e999", -kInfinity, 6},
               {L"1e-999", 0.0, 6},
               {L"", 0.0, 0},
               {L"-", 0.0, 0},
               // What older runtimes printed, with their padding.
               {L"-1.#INF00", -kInfinity, 9},
               {L"1.#INF00x", kInfinity, 8},
               {L"1.#INF5", kInfinity, 6},
               {L"1.#QNAN0", kNan, 8},
               {L"1.#SNAN", kNan, 7},
               {L"-1.#IND000", -kNan, 10},
               {L"1.#NAN", kNan, 6},
               {L"1#INF", kInfinity, 5},
               {L"  1.00#INF", kInfinity, 10},
               {L"2.#INF", 2.0, 2},
               {L"1.5#INF", 1.5, 3},
               {L"1.#inf", 1.0, 2},
               {L"1.#QNA", 1.0, 2},
               // Spelled, in either case.
               {L"+infinity", kInfinity, 9},
               {L" -INF", -kInfinity, 5},
               {L"infinite", kInfinity, 3},
               {L"NAN", kNan, 3},
               {L"-nan", -kNan, 4},
               {L"in", 0.0, 0}};
  for (const auto& [text, expected, length] : cases) {
    SCOPED_TRACE(testing::PrintToString(MString(text)));
    const wchar_t* end = nullptr;
    EXPECT_PRED2(AreSame, ScanDouble(text, &end, MLocale::GetClassic()), expected);
    EXPECT_EQ(static_cast<std::size_t>(end - text), length);
    double parsed = 0.0;
    EXPECT_EQ(ParseDouble(MLocale::GetClassic(), text, &parsed), length > 0);
    EXPECT_PRED2(AreSame, parsed, expected);
  }
  EXPECT_FALSE(ParseDouble(MLocale::GetClassic(), L"1", nullptr));
}

TEST(ScanDouble, WhatTheProcessCallsWhiteSpaceMakesNoDifference) {
  const MString text = L"\u2003inf";
  double value = 0.0;
  const bool isRead = ParseDouble(MLocale::GetClassic(), text, &value);
  ASSERT_NE(std::setlocale(LC_ALL, kUtf8), nullptr);
  EXPECT_EQ(ParseDouble(MLocale::GetClassic(), text, &value), isRead);
  std::setlocale(LC_ALL, "C");
}

/// Our own reading of a number and the C runtime's agree in every bit and in where it ends.
void ExpectReadAsByTheRuntime(const MString& text) {
  const wchar_t* end = nullptr;
  const wchar_t* runtimeEnd = nullptr;
  const double read = ScanDouble(text.c_str(), &end, MLocale::GetClassic());
  const double expected = MLocale::GetClassic().ScanNumber(text.c_str(), &runtimeEnd);
  ASSERT_EQ(std::memcmp(&read, &expected, sizeof read), 0) << testing::PrintToString(text);
  ASSERT_EQ(end, runtimeEnd) << testing::PrintToString(text);
}

TEST(ScanDouble, ReadsPlainDecimalsAsTheRuntimeDoesHoweverItRounds) {
  const MString hardCases[] = {
      L"-0", L"1.5e3x", L"+.5", L"5.", L".5e-1", L"1e", L"1e+", L"1E5", L"1,5", L"--1", L"abc",
      L"0x1p4", L"00012", L"-0.1", L"0.3",
      // Halfway between two doubles, and what one exact operation just converts.
      L"9007199254740993", L"9007199254740992.99999999999", L"-9007199254740992e22",
      L"9007199254740991e-23",
      // Digits and exponents that wrap 64 bits.
      L"18446744073709551617", L"1e18446744073709551617",
      L"1.00000000000000011102230246251565404e0",
      // The ends of the range.
      L"2.2250738585072011e-308", L"4.9406564584124654e-324", L"2.4703282292062327e-324",
      L"1.7976931348623157e308", L"1.7976931348623159e308", L"0e999999", L"1e-400",
      MString(100, L'9'), MString(70, L'0') + L"1.5", L"0." + MString(80, L'0') + L"1",
      L"1e" + MString(70, L'0') + L"1"};
  for (const int direction : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO, FE_TONEAREST}) {
    ASSERT_EQ(std::fesetround(direction), 0);
    for (const MString& text : hardCases) {
      ExpectReadAsByTheRuntime(text);
    }
    MString written;
    MString expected;
    Velta::Text::FormatScientific(MLocale::GetClassic(), -0.3, 15, written);
    MLocale::GetClassic().Format(expected, L"%.15e", -0.3);
    EXPECT_EQ(written, expected);
  }
  std::mt19937_64 random(20261121);
  for (int i = 0; i < StressRounds(1000000); ++i) {
    const std::uint64_t bits = random();
    const int digits = static_cast<int>(random() % 20);
    double anyDouble = 0.0;
    std::memcpy(&anyDouble, &bits, sizeof anyDouble);
    const double everyday = static_cast<double>(static_cast<std::int64_t>(bits)) / 1e9;
    wchar_t text[64];
    if (i % 2 == 0 && std::isfinite(anyDouble)) {
      std::swprintf(text, std::size(text), L"%.*e", digits, anyDouble);
    } else {
      std::swprintf(text, std::size(text), L"%.*f", digits, everyday);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectReadAsByTheRuntime(text));
  }
}

TEST(ToWide, WidensUpToTheFirstNull) {
  EXPECT_EQ(ToWide(""), L"");
  EXPECT_EQ(ToWide("plain text"), L"plain text");
  EXPECT_EQ(ToWide(std::string("cut\0off", 7)), L"cut");
  EXPECT_EQ(ToWide(std::string(100000, 'x')), MString(100000, L'x'));
}

TEST(DecimalText, WritesWhatAStreamUnderTheClassicLocaleWrites) {
  EXPECT_EQ(Velta::Text::DecimalText((std::numeric_limits<std::int32_t>::min)()), L"-2147483648");
  EXPECT_EQ(Velta::Text::DecimalText((std::numeric_limits<std::uint64_t>::max)()),
            L"18446744073709551615");
  EXPECT_EQ(Velta::Text::DecimalText(0), L"0");
  EXPECT_EQ(Velta::Text::HexadecimalText(0xFFFFFFFF), L"ffffffffh");
}

}  // namespace
