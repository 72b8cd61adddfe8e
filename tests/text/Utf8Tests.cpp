// SPDX-License-Identifier: MIT
#include "velta/text/Utf8.h"

#include "tests/support/Raises.h"

#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;

/// One character as wide text; any number, also one that is no character.
MString Wide(char32_t character) {
  if (sizeof(wchar_t) > 2 || character < 0x10000) {
    return MString(1, static_cast<wchar_t>(character));
  }
  return {static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10)),
          static_cast<wchar_t>(0xDC00 + (character & 0x3FF))};
}

TEST(Utf8, EveryCharacterThereIsComesBack) {
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    if (character == 0xD800) {
      character = 0xE000;
    }
    const MString wide = Wide(character);
    const std::string bytes = ToUtf8(wide);
    ASSERT_EQ(bytes.size(), 1U + (character > 0x7F) + (character > 0x7FF) + (character > 0xFFFF));
    ASSERT_EQ(FromUtf8(bytes), wide) << static_cast<unsigned>(character);
  }
  EXPECT_EQ(ToUtf8(L"\u00FC\u20AC\U0001F600"), "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(FromUtf8({"a\0b", 3}), MString(L"a\0b", 3));
}

TEST(Utf8, WhatIsNoneIsNamedByItsOffsetOrReplacedOnceForEachSequence) {
  const struct {
    std::string_view bytes;
    const wchar_t* offset;
    const wchar_t* replaced;
  } cases[] = {
      {"ab\xFF", L"2", L"ab\uFFFD"},
      {"\x80z", L"0", L"\uFFFDz"},
      {"a\xE2\x82", L"1", L"a\uFFFD"},  // cut off
      {"\xE2\x82z", L"0", L"\uFFFDz"},
      {"\xF0\x9F\x98", L"0", L"\uFFFD"},
      {"\xC0\xAF", L"0", L"\uFFFD\uFFFD"},  // overlong
      {"\xE0\x9F\xBF", L"0", L"\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x8F\xBF\xBF", L"0", L"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xED\xA0\x80", L"0", L"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", L"0", L"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond the last character
      {"\xF5\x80", L"0", L"\uFFFD\uFFFD"},
      {"\xC3\xBC\xC3", L"2", L"\u00FC\uFFFD"},
  };
  for (const auto& [bytes, offset, replaced] : cases) {
    EXPECT_THAT([&] { static_cast<void>(FromUtf8(bytes)); },
                RaisesWith(L"Utf8.FromUtf8:MalformedText", ElementsAre(Pair(L"offset", offset))));
    EXPECT_EQ(FromUtf8Lossy(bytes), replaced) << testing::PrintToString(bytes);
  }
  const MString halves[] = {L"ab" + Wide(0xD83D), L"ab" + Wide(0xDE00), L"ab" + Wide(0xDC00)};
  for (const MString& text : halves) {
    EXPECT_THAT([&] { static_cast<void>(ToUtf8(text)); },
                RaisesWith(L"Utf8.ToUtf8:MalformedText", ElementsAre(Pair(L"offset", L"2"))));
    EXPECT_EQ(ToUtf8Lossy(text + L"z"), "ab\xEF\xBF\xBDz");
  }
}

}  // namespace
