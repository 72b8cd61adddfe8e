// SPDX-License-Identifier: MIT
#include "tests/support/Raises.h"
#include "velta/errors/Describe.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/Win32.h"
#include "velta/text/StandardText.h"

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <ratio>
#include <string>
#include <string_view>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsSupersetOf;
using testing::Pair;
using testing::StartsWith;

enum class Colour : std::int8_t { kRed = -1 };

template <class Value>
MString TextOfParameter(const Value& value) {
  MError error(L"A.B:C");
  error.AddParameter(L"v", value);
  return error.GetParameters().at(L"v");
}

template <class Value>
concept Accepted = requires(MError error, MFlowPoint point, const Value& value) {
  error.AddParameter(L"v", value);
};
static_assert(Accepted<std::uint64_t> && Accepted<Colour> && Accepted<const wchar_t*>);
static_assert(!Accepted<char> && !Accepted<wchar_t> && !Accepted<char16_t>);
static_assert(!Accepted<void*> && !Accepted<std::nullptr_t> && !Accepted<long double>);

TEST(Parameters, EveryTypeHasItsOwnText) {
  EXPECT_EQ(TextOfParameter(5000000000), L"5000000000");
  EXPECT_EQ(TextOfParameter(std::numeric_limits<std::int64_t>::min()), L"-9223372036854775808");
  EXPECT_EQ(TextOfParameter(~std::uint64_t{0}), L"18446744073709551615");
  EXPECT_EQ(TextOfParameter(3000000000u), L"3000000000");
  EXPECT_EQ(TextOfParameter(std::int8_t{-1}), L"-1");
  EXPECT_EQ(TextOfParameter(std::uint8_t{200}), L"200");
  EXPECT_EQ(TextOfParameter(true), L"true");
  EXPECT_EQ(TextOfParameter(Colour::kRed), L"-1");
  EXPECT_EQ(TextOfParameter(2.75), L"2.75");
  EXPECT_EQ(TextOfParameter(0.1f), L"0.1");
  EXPECT_EQ(TextOfParameter(1e300), L"1e+300");
  EXPECT_EQ(TextOfParameter(-HUGE_VAL), L"-inf");
  EXPECT_EQ(TextOfParameter(L"wide"), L"wide");
  EXPECT_EQ(TextOfParameter(static_cast<const wchar_t*>(nullptr)), L"");
  EXPECT_EQ(TextOfParameter(static_cast<const char*>(nullptr)), L"");
  EXPECT_EQ(TextOfParameter("\xC3\xBC\xFF"), L"\u00FC\uFFFD");
  EXPECT_EQ(TextOfParameter(std::string("\xC3\xBC")), L"\u00FC");
  EXPECT_EQ(TextOfParameter(std::string_view("ab", 1)), L"a");
  EXPECT_EQ(TextOfParameter(u8"\u20AC"), L"\u20AC");
  EXPECT_EQ(TextOfParameter(std::filesystem::path(u8"\u00FC/x")), L"\u00FC/x");
  EXPECT_THAT(TextOfParameter(std::make_error_code(std::errc::permission_denied)),
              EndsWith(L" (generic 13)"));
  EXPECT_EQ(TextOfParameter(std::chrono::milliseconds(1500)), L"1500 ms");
  EXPECT_EQ(TextOfParameter(std::chrono::duration<double>(2.5)), L"2.5 s");
  EXPECT_EQ(TextOfParameter(std::chrono::duration<int, std::ratio<1, 2>>(3)), L"1.5 s");
}

TEST(Parameters, AHexadecimalNumberShowsTheBitsOfItsTypeAndADecimalOneItsSign) {
  MError error(L"A.B:C");
  error.AddParameter(L"bits", -2147467259, true);
  error.AddParameter(L"long", std::uint64_t{42}, true);
  error.AddParameter(L"sign", -1, false);
  EXPECT_THAT(error.GetParameters(),
              ElementsAre(Pair(L"bits", L"80004005h"), Pair(L"long", L"000000000000002ah"),
                          Pair(L"sign", L"-1")));
}

TEST(Parameters, OneRaiseTakesAnyNumberOfThemAndTheSystemsErrors) {
  MFlowPoint point(L"Copier", L"Copy");
  EXPECT_THAT([&] { point.Raise(L"NotCopied", L"bytes", 5000000000); },
              RaisesWith(L"Copier.Copy:NotCopied", ElementsAre(Pair(L"bytes", L"5000000000"))));
  const std::filesystem::path name(u8"\u00FC");
  EXPECT_THAT([&] { point.Raise(L"NotCopied", L"file", name); },
              RaisesWith(L"Copier.Copy:NotCopied", ElementsAre(Pair(L"file", L"\u00FC"))));
  EXPECT_THAT(
      [&] { point.Raise(L"NotCopied", {{L"file", std::filesystem::path("x")}, {L"bytes", 0}}); },
      RaisesWith(L"Copier.Copy:NotCopied", ElementsAre(Pair(L"bytes", L"0"), Pair(L"file", L"x"))));

  ::SetLastError(ERROR_ACCESS_DENIED);
  const MError error =
      point.MakeRootError(L"NotOpened", {LastError(), HResult{-2147024891}, {nullptr, "none"}});
  EXPECT_THAT(error.GetParameters(),
              IsSupersetOf({Pair(L"", L"none"), Pair(L"hResult", L"80070005h"),
                            Pair(L"winErrorCode", L"5")}));
  EXPECT_THAT(error.GetParameters().at(L"winErrorMessage"), StartsWith(L"Access"));
  const MError unknown = point.MakeRootError(L"NotOpened", {LastError(0xFFFFFFF0)});
  EXPECT_THAT(unknown.GetParameters(), ElementsAre(Pair(L"winErrorCode", L"4294967280")));
}

TEST(Describe, ShowsTheLastErrorFirstWithParametersAndOnOneLineNoControlCharacter) {
  MError cause(L"File.Open:Failed");
  cause.AddParameter(L"file", L"a\nb");
  cause.AddParameter(L"bytes", 5);
  MException exception(cause);
  exception.AddError(MError(L"Copier.Copy:NotCopied"));
  EXPECT_EQ(Describe(cause), L"File.Open:Failed (bytes 5, file a\nb)");
  EXPECT_EQ(Describe(exception),
            L"Copier.Copy:NotCopied\ncaused by: File.Open:Failed (bytes 5, file a\nb)");
  EXPECT_EQ(DescribeOnOneLine(exception),
            L"Copier.Copy:NotCopied; caused by: File.Open:Failed (bytes 5, file a b)");
  EXPECT_EQ(Describe(MException()), L"Unspecified error");
}

}  // namespace
