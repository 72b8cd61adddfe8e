// SPDX-License-Identifier: MIT
#include "velta/text/NumberText.h"

#include "velta/text/MLocale.h"
#include "velta/text/internal/DecimalText.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct Scan {
  const wchar_t* text;
  double value;
  std::size_t length;  // 0 when nothing is read
};

void ExpectScan(const Scan& sample) {
  SCOPED_TRACE(testing::PrintToString(MString(sample.text)));
  const wchar_t* end = nullptr;
  const double value = ScanDouble(sample.text, &end, MLocale::GetClassic());
  EXPECT_EQ(static_cast<std::size_t>(end - sample.text), sample.length);
  if (std::isnan(sample.value)) {
    EXPECT_TRUE(std::isnan(value)) << value;
  } else {
    EXPECT_EQ(value, sample.value);
    EXPECT_EQ(std::signbit(value), std::signbit(sample.value));
  }
  double parsed = 42.0;
  EXPECT_EQ(ParseDouble(MLocale::GetClassic(), sample.text, &parsed), sample.length > 0);
}

TEST(ScanDouble, ReadsOrdinaryNumbersAndIgnoresWhatFollows) {
  const Scan cases[] = {
      {L"0", 0.0, 1},   {L"-0", -0.0, 2}, {L" \t\n12abc", 12.0, 5}, {L"1.5e3x", 1500.0, 5},
      {L"+.5", 0.5, 3}, {L"1e", 1.0, 1},  {L"1e999", kInfinity, 5}, {L"-1e999", -kInfinity, 6},
      {L"", 0.0, 0},    {L"   ", 0.0, 0}, {L"abc", 0.0, 0},         {L"-", 0.0, 0},
      {L"1,5", 1.0, 1}, {L"--1", 0.0, 0}};
  for (const Scan& sample : cases) {
    ExpectScan(sample);
  }
}

TEST(ScanDouble, ReadsWhatOlderRuntimesPrintedForInfinityAndNan) {
  const Scan cases[] = {{L"1.#INF", kInfinity, 6},
                        {L"-1.#INF00", -kInfinity, 9},
                        {L"1.#INF00x", kInfinity, 8},
                        {L"1.#INF5", kInfinity, 6},  // no padding: not part of it
                        {L"1.#QNAN0", kNan, 8},
                        {L"1.#SNAN", kNan, 7},
                        {L"-1.#IND", kNan, 7},
                        {L"-1.#IND000", kNan, 10},
                        {L"1.#NAN", kNan, 6},
                        {L"1#INF", kInfinity, 5},
                        {L"  1.00#INF", kInfinity, 10},
                        {L"2.#INF", 2.0, 2},
                        {L"1.5#INF", 1.5, 3},
                        {L"1.#inf", 1.0, 2},
                        {L"1.#", 1.0, 2},
                        {L"1.#QNA", 1.0, 2},
                        {L"1.#IN", 1.0, 2}};
  for (const Scan& sample : cases) {
    ExpectScan(sample);
  }
}

TEST(ScanDouble, ReadsSpelledInfinityAndNan) {
  const Scan cases[] = {{L"inf", kInfinity, 3},
                        {L"-inf", -kInfinity, 4},
                        {L"+infinity", kInfinity, 9},
                        {L"INFINITY", kInfinity, 8},
                        {L" -INF", -kInfinity, 5},
                        {L"infinite", kInfinity, 3},
                        {L"nan", kNan, 3},
                        {L"NAN", kNan, 3},
                        {L"-nan", kNan, 4},
                        {L"in", 0.0, 0},
                        {L" -", 0.0, 0}};
  for (const Scan& sample : cases) {
    ExpectScan(sample);
  }
}

TEST(ParseDouble, NeedsAPlaceForTheResultAndToleratesOverAndUnderflow) {
  EXPECT_FALSE(ParseDouble(MLocale::GetClassic(), L"1", nullptr));
  double value = 0.0;
  EXPECT_TRUE(ParseDouble(MLocale::GetClassic(), L"1e999", &value));
  EXPECT_EQ(value, kInfinity);
  EXPECT_TRUE(ParseDouble(MLocale::GetClassic(), L"1e-999", &value));
  EXPECT_EQ(value, 0.0);
}

TEST(ParseDouble, ReadsBackWhatFormatWroteBitForBit) {
  const unsigned seed = 20260721;
  std::mt19937_64 random(seed);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random();
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) {
      continue;
    }
    MString text;
    MLocale::GetClassic().Format(text, L"%.16e", value);  // 17 digits tell every double
    double read = 0.0;
    ASSERT_TRUE(ParseDouble(MLocale::GetClassic(), text, &read));
    EXPECT_EQ(std::memcmp(&read, &value, sizeof value), 0) << testing::PrintToString(text);
  }
}

TEST(ToWide, WidensUpToTheFirstNull) {
  EXPECT_EQ(ToWide(""), L"");
  EXPECT_EQ(ToWide("plain text"), L"plain text");
  EXPECT_EQ(ToWide(std::string("cut\0off", 7)), L"cut");
  EXPECT_EQ(ToWide(std::string(100000, 'x')), MString(100000, L'x'));
}

TEST(DecimalText, WritesWhatAStreamUnderTheClassicLocaleWrites) {
  EXPECT_EQ(DecimalText((std::numeric_limits<std::int32_t>::min)()), L"-2147483648");
  EXPECT_EQ(DecimalText((std::numeric_limits<std::uint64_t>::max)()), L"18446744073709551615");
  EXPECT_EQ(DecimalText(0), L"0");
  EXPECT_EQ(HexadecimalText(0xFFFFFFFF), L"ffffffffh");
}

}  // namespace
