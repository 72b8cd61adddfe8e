// SPDX-License-Identifier: MIT
#include "tests/xml/XmlKit.h"

#include <string>

namespace {

constexpr std::uint32_t kQuotes = MXmlDocument::kEscapeQuotes;
constexpr std::uint32_t kKeep = MXmlDocument::kEscapeKeepReferences;

}  // namespace

TEST(MXmlDocument, EscapeReplacesWhatTheFlagsSay) {
  struct Case {
    const wchar_t* text;
    std::uint32_t flags;
    const wchar_t* escaped;
  };
  const Case cases[] = {
      {L"<a & 'b' \"c\">", 0, L"&lt;a &amp; 'b' \"c\"&gt;"},
      {L"<a & 'b' \"c\">", kQuotes, L"&lt;a &amp; &apos;b&apos; &quot;c&quot;&gt;"},
      {L"&amp;&lt;", 0, L"&amp;amp;&amp;lt;"},
      {L"&amp;&#10;&#x1F;&a-b.c_d:1;&_;&:x;&\u00E9;", kKeep,
       L"&amp;&#10;&#x1F;&a-b.c_d:1;&_;&:x;&\u00E9;"},
      {L"& &; &a &-a; &1; &a b; &#;", kKeep, L"&amp; &amp;; &amp;a &amp;-a; &amp;1; &amp;a b; &#;"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(MXmlDocument::Escape(c.text, c.flags), c.escaped);
  }
}

TEST(MXmlDocument, UnescapeKnowsNumbersAndFiveNames) {
  struct Case {
    const wchar_t* text;
    const wchar_t* characters;
  };
  const Case cases[] = {
      {L"&lt;&amp;&gt;&apos;&quot;", L"<&>'\""},
      {L"&amp;lt;", L"&lt;"},
      {L"&#65;&#x42;&#x4a;&#x4A;", L"ABJJ"},
      {L"&LT;&nbsp;&lt &;&", L"&LT;&nbsp;&lt &;&"},
      {L"&#;&#x;&#xg;&#1a;&#-1;&#65", L"&#;&#x;&#xg;&#1a;&#-1;&#65"},
      {L"&#x110000;&#99999999999999999999;", L"&#x110000;&#99999999999999999999;"},
      {L"&#xFFFF;&#xD800;", L"\xFFFF\xD800"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(MXmlDocument::Unescape(c.text), c.characters);
  }
  EXPECT_EQ(MXmlDocument::Unescape(L"&#0;"), std::wstring(1, L'\0'));
  const std::wstring last = sizeof(wchar_t) == 2 ? std::wstring{wchar_t(0xDBFF), wchar_t(0xDFFF)}
                                                 : std::wstring(1, static_cast<wchar_t>(0x10FFFF));
  EXPECT_EQ(MXmlDocument::Unescape(L"&#x10FFFF;"), last);
}

TEST(MXmlDocument, WhatIsEscapedIsReadBackWhateverItIs) {
  // Every short text of the characters that matter.
  const std::wstring characters = L"&<>'\";#x1almpt";
  for (std::size_t number = 0; number < 14 * 14 * 14 * 14; ++number) {
    std::wstring text;
    for (std::size_t rest = number; rest != 0; rest /= 14) {
      text += characters[rest % 14];
    }
    ASSERT_EQ(MXmlDocument::Unescape(MXmlDocument::Escape(text)), text);
    ASSERT_EQ(MXmlDocument::Unescape(MXmlDocument::Escape(text, kQuotes)), text);
  }
}
