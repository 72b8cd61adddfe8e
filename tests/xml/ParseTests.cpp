// SPDX-License-Identifier: MIT
// What a text is read as, and every message with its offset.
#include "tests/xml/XmlKit.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

TEST(MXmlDocument, EachFaultHasItsMessageWithItsOffset) {
  const struct {
    const wchar_t* text;
    const wchar_t* errors;
    std::int32_t offset;
  } cases[] = {
      {L"", L"Empty document", -1},
      {L"<!-- only -->", L"No root element", -1},
      {L"<a/><b/>", L"Root element has sibling", -1},

      {L"<a><b></a>", L"End tag 'a' at offset 6 does not match start tag 'b' at offset 3", 6},
      {L"<a><b><c></a>",
       L"End tag 'a' at offset 9 does not match start tag 'c' at offset 6, "
       L"End tag 'a' at offset 9 does not match start tag 'b' at offset 3",
       9},
      {L"<a></ab></a>", L"End tag 'ab' at offset 3 does not match start tag 'a' at offset 0", 3},
      {L"<a/></a>", L"No start tag for end tag 'a' at offset 4", 4},
      {L"<a>", L"Element 'a' at offset 0 not ended", 0},
      {L"<a><b>x", L"Element 'b' at offset 3 not ended, Element 'a' at offset 0 not ended", 3},

      {L"<1a/>", L"Incorrect tag name character at offset 0, No root element", 0},
      {L"<a><!x></a>", L"Incorrect ! tag at offset 3", 3},
      {L"<!ELEMENT a ANY><a/>", L"Incorrect ! tag at offset 0", 0},
      {L"<!DOCTYPE a [<!X>]><a/>", L"Incorrect ! tag at offset 13", 13},
      {L"<a><!-x></a>", L"Incorrect comment tag at offset 3", 3},
      {L"<a><![x></a>", L"Incorrect tag at offset 3", 3},
      {L"<a><1><2></a>",
       L"Incorrect tag name character at offset 3, Incorrect tag name character at offset 6", 3},

      {L"<a", L"Element tag at offset 0 unterminated, No root element", 0},
      {L"<a b='>", L"Element tag at offset 0 unterminated, No root element", 0},
      {L"<a></a", L"Element end tag at offset 3 unterminated, Element 'a' at offset 0 not ended",
       3},
      {L"<a/><![CDATA[ ]>", L"CDATA Section at offset 4 unterminated", 4},
      {L"<a/><?p ?", L"Processing instruction at offset 4 unterminated", 4},
      {L"<a/><?>", L"Processing instruction at offset 4 unterminated", 4},
      {L"<a/><!--->", L"Comment at offset 4 unterminated", 4},
      {L"<a/><!DOCTYPE b '>", L"Doctype at offset 4 unterminated", 4},
      {L"<a/><!DOCTYPE b [<!ENTITY c '>", L"Doctype at offset 17 unterminated", 17},
      {L"<a/><!DOCTYPE b [<!-- ]>", L"Comment at offset 17 unterminated", 17},
      {L"<a/><", L"tag at offset 4 unterminated", 4},
      {L"<a/><!-", L"tag at offset 4 unterminated", 4},
      {L"<a/><![", L"tag at offset 4 unterminated", 4},
  };
  MXmlDocument document;
  EXPECT_FALSE(document.IsWellFormed());
  for (const auto& [text, errors, offset] : cases) {
    document.ClearErrorText();
    EXPECT_FALSE(document.SetText(text) || document.IsWellFormed()) << text;
    EXPECT_EQ(document.GetErrorText(), errors);
    EXPECT_EQ(document.GetErrorOffset(), offset);
  }
  for (const wchar_t c : std::wstring_view(L"-;=@[]\\^`.09 \n")) {
    document.ClearErrorText();
    EXPECT_FALSE(document.SetText(std::wstring(L"<a><") + c + L"></a>"));
    EXPECT_EQ(document.GetErrorText(), L"Incorrect tag name character at offset 3");
  }
}

TEST(MXmlDocument, ALaterParseKeepsTheEarlierErrorsInFront) {
  MXmlDocument document;
  EXPECT_FALSE(document.SetText(L"<a") || document.SetText(L""));
  EXPECT_TRUE(document.SetText(L"<a/>"));
  EXPECT_EQ(document.GetErrorText(),
            L"Element tag at offset 0 unterminated, No root element, Empty document");
  document.ClearErrorText();
  EXPECT_FALSE(document.SetText(L"<a>"));
  EXPECT_EQ(document.GetErrorText(), L"Element 'a' at offset 0 not ended");
}

TEST(MXmlDocument, TheTextOfErrorsIsBoundedAndSaysThatItIsCut) {
  std::wstring text;
  for (int i = 0; i < 100000; ++i) {
    text += L"<a>";
  }
  MXmlDocument document;
  EXPECT_FALSE(document.SetText(text));
  const MString& errors = document.GetErrorText();
  EXPECT_EQ(errors.size(), 16384 + std::wstring(L" ... (cut)").size());
  EXPECT_TRUE(errors.starts_with(L"Element 'a' at offset 299997 not ended, Element 'a' at "));
  EXPECT_TRUE(errors.ends_with(L" ... (cut)"));
  EXPECT_FALSE(document.SetText(L"<a><b></a>"));
  EXPECT_EQ(document.GetErrorOffset(), 6) << "a fault that there is no room for has its place";
}

TEST(MXmlDocument, RecordsHoldWhereElementsAreAndHowTheyAreRelated) {
  MXmlDocument document;
  EXPECT_TRUE(document.SetText(L"<a x='1'>t<b/><c><d /></c ></a>"));
  EXPECT_THAT(RecordsInOrder(document),
              testing::ElementsAre(RecordFields{0, 31, 0, 0, 0, 0, 1, 0, 0, 1},
                                   RecordFields{0, 31, 9, 4, 0, 0, 2, 0, 0, 3},
                                   RecordFields{10, 4, 4, 0, 0x10000, 1, 0, 3, 0, 0},
                                   RecordFields{14, 13, 3, 5, 0, 1, 4, 0, 2, 4},
                                   RecordFields{17, 5, 5, 0, 0x10000, 3, 0, 0, 0, 0}));
}

TEST(MXmlDocument, AFaultEndsAtTheNextMarkupAndFlagsSayHowElementsEnd) {
  // The document and its elements, a dot before each for every level around, and their flags: "/"
  // is an empty tag, "?" an end not found, "!" one that is not proper, "X" a document with a fault.
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"<a b='c' />", L" a/"},
      {L"<a b=c/></a>", L" a"},
      {L"<a/><b/>", L" a/ b/"},
      {L"<a>", L"X a?"},
      {L"<a></b>", L"X a?!"},
      {L"<a/></a>", L"X a/"},
      {L"<a><1 x><b/></a>", L"X a .b/"},
      {L"<a><1 x<b/></a>", L"X a .b/"},
      {L"<a><<b/></a>", L"X a .b/"},
      {L"<a><b></a><d/>", L"X a .b! d/"},
      {L"<a><b></x><c/></b></a>", L"X a .b! ..c/"},
      {L"<a><!-- <b/></a>", L"X a?"},
      {L"<a><b/>\n<![x]]><c/></a>", L"X a .b/ .c/"},
      {L"<?xml version=\"1.0\"?>\n<!-- c -->\n<a/>\n<!-- d -->", L" a/"},
      {L"<a b='>' c=\"/>\" d = '<x>'></a>", L" a"},
      {L"<a><?p > ?><!-- > </a> --><![CDATA[</a>]]></a>", L" a"},
      {L"<a><!----></a>", L" a"},
      {L"<a><?p?\?></a>", L" a"},
      {L"<a><![CDATA[]]</a>]>]]></a>", L" a"},
      {L"<:a><_/><\u00E9/><{/></:a>", L" :a ._/ .\u00E9/ .{/"},
      {L"<a.b-c1></a.b-c1>", L" a.b-c1"},
      {L"<!DOCTYPE a [<b> '<' ]><a/>", L" a/"},
      {L"<!DOCTYPE a [</b> '<c>' ]><a/>", L" a/"},
      {L"<!DOCTYPE a SYSTEM \"x>y\"><a/>", L" a/"},
      {L"<!DOCTYPE a [\n<!ELEMENT a (b)>\n<!ATTLIST a b CDATA '>'>\n<!ENTITY c \"<x>'\">\n"
       L"<!NOTATION d SYSTEM ''>\n<!-- > ' --> <?p > ' ?>\n]><a/>",
       L" a/"},
  };
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text);
    MXmlDocument document;
    const bool isWellFormed = document.SetText(text);
    EXPECT_EQ(isWellFormed, document.GetErrorText().empty());
    std::wstring outline;
    std::size_t element = 0;
    const auto addFlags = [&] {
      const std::int64_t flags = RecordsInOrder(document).at(element++)[4];
      outline.append((flags & 0x10000) != 0 ? L"/" : L"")
          .append((flags & 0x100000) != 0 ? L"?" : L"");
      outline.append((flags & 0x200000) != 0 ? L"!" : L"")
          .append((flags & 0x800000) != 0 ? L"X" : L"");
    };
    addFlags();
    Walk(document, MXmlNodeType::kElement, [&](std::size_t depth) {
      outline.append(L" ").append(depth, L'.').append(document.GetTagName());
      addFlags();
      return false;
    });
    EXPECT_EQ(outline, expected);
    EXPECT_EQ(isWellFormed, expected[0] == L' ' && outline != L" a/ b/");
  }
}

TEST(MXmlDocument, WithIgnoreCaseTagsMatchInAnyCase) {
  MXmlDocument document;
  document.SetFlags(MXmlDocument::kIgnoreCase);
  EXPECT_TRUE(document.SetText(L"<Abc X='1'><\u00C9></\u00C9></aBC>"));
  EXPECT_FALSE(document.SetText(L"<a><\u00C9></\u00E9></A>"));
  EXPECT_EQ(document.GetErrorText(),
            L"End tag '\u00E9' at offset 6 does not match start tag '\u00C9' at offset 3, "
            L"End tag 'A' at offset 10 does not match start tag '\u00C9' at offset 3");
}

TEST(MXmlDocument, OffsetsAreLinesAndColumns) {
  MXmlDocument document;
  EXPECT_FALSE(document.SetText(L"ab\nc\r\nd\re\n"));
  const std::int32_t cases[][3] = {{-1, 1, 1}, {2, 1, 3}, {3, 2, 1}, {5, 2, 3},
                                   {6, 3, 1},  {8, 4, 1}, {9, 4, 2}, {999, 5, 1}};
  for (const auto& [offset, expectedLine, expectedColumn] : cases) {
    std::int32_t line = 0;
    std::int32_t column = 0;
    document.GetLineAndColumn(offset, &line, &column);
    EXPECT_EQ(std::pair(line, column), std::pair(expectedLine, expectedColumn)) << offset;
  }
}

TEST(MXmlDocument, MarkupIsFoundWhereverItLiesInABlock) {
  // What stands before moves each mark through all places of what is compared at a time.
  for (std::size_t before = 0; before < 40; ++before) {
    for (std::size_t length = 0; length < 40; ++length) {
      const std::wstring name(length + 1, L'n');
      const std::wstring value(length, L'>');
      const std::wstring text = std::wstring(before, L' ') + L"<" + name + L" a='" + value +
                                L"' b=\"'\">" + value + L"<c/></" + name + L" >";
      MXmlDocument document;
      ASSERT_TRUE(document.SetText(text)) << text << document.GetErrorText();
      ASSERT_TRUE(document.FindElement(name));
      ASSERT_EQ(document.GetAttribute(L"a") + document.GetAttribute(L"b"), value + L"'");
      ASSERT_EQ(document.GetData(), value);
      ASSERT_EQ(document.GetOffset(), static_cast<std::int32_t>(before));
      ASSERT_TRUE(document.FindChildElement(L"c"));
      ASSERT_FALSE(document.SetText(text.substr(0, text.size() - 1)));
      ASSERT_FALSE(document.SetText(L"<n" + text.substr(before + 1)));
    }
  }
}

TEST(MXmlDocument, NoOtherCharacterIsTakenForMarkup) {
  // Characters whose low bits are those of a mark, in every place of a block.
  constexpr bool kIsUtf16 = sizeof(wchar_t) == 2;
  for (const wchar_t mark : {L'<', L'>', L'"', L'\''}) {
    for (const int shift : {7, 8, 15, kIsUtf16 ? 14 : 16, kIsUtf16 ? 9 : 31}) {
      const auto like = static_cast<wchar_t>(static_cast<std::uint32_t>(mark) | 1u << shift);
      const std::wstring likes(40, like);
      MXmlDocument document;
      ASSERT_TRUE(
          document.SetText(L"<a" + likes + L" b='" + likes + L"'>" + likes + L"</a" + likes + L">"))
          << document.GetErrorText();
      ASSERT_TRUE(document.FindElement());
      ASSERT_EQ(document.GetAttribute(L"b"), likes);
      ASSERT_EQ(document.GetData(), likes);
    }
  }
}

TEST(MXmlDocument, EscapeReplacesWhatTheFlagsSay) {
  constexpr std::uint32_t kQuotes = MXmlDocument::kEscapeQuotes;
  constexpr std::uint32_t kKeep = MXmlDocument::kEscapeKeepReferences;
  const struct {
    const wchar_t* text;
    std::uint32_t flags;
    const wchar_t* escaped;
  } cases[] = {
      {L"<a & 'b' \"c\">", 0, L"&lt;a &amp; 'b' \"c\"&gt;"},
      {L"<a & 'b' \"c\">", kQuotes, L"&lt;a &amp; &apos;b&apos; &quot;c&quot;&gt;"},
      {L"&amp;&lt;", 0, L"&amp;amp;&amp;lt;"},
      {L"&amp;&#10;&#x1F;&a-b.c_d:1;&_;&:x;&\u00E9;", kKeep,
       L"&amp;&#10;&#x1F;&a-b.c_d:1;&_;&:x;&\u00E9;"},
      {L"& &; &a &-a; &1; &a b; &#;", kKeep, L"&amp; &amp;; &amp;a &amp;-a; &amp;1; &amp;a b; &#;"},
  };
  for (const auto& [text, flags, escaped] : cases) {
    EXPECT_EQ(MXmlDocument::Escape(text, flags), escaped);
  }
}

TEST(MXmlDocument, UnescapeKnowsNumbersAndFiveNames) {
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"&lt;&amp;&gt;&apos;&quot;", L"<&>'\""},
      {L"&amp;lt;", L"&lt;"},
      {L"&#65;&#x42;&#x4a;&#x4A;", L"ABJJ"},
      {L"&LT;&nbsp;&lt &;&", L"&LT;&nbsp;&lt &;&"},
      {L"&#;&#x;&#xg;&#1a;&#-1;&#65", L"&#;&#x;&#xg;&#1a;&#-1;&#65"},
      {L"&#x110000;&#99999999999999999999;", L"&#x110000;&#99999999999999999999;"},
      {L"&#xFFFF;&#xD800;", L"\xFFFF\xD800"},
      {L"&#x10FFFF;", L"\U0010FFFF"},
      {L"&#0;", std::wstring(1, L'\0')},
  };
  for (const auto& [text, characters] : cases) {
    EXPECT_EQ(MXmlDocument::Unescape(text), characters);
  }
}
