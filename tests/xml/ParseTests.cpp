// SPDX-License-Identifier: MIT
// What a text is read as, and every message with its offset.
#include "tests/xml/XmlKit.h"

#include <string>
#include <vector>

namespace {

struct Faulty {
  const wchar_t* text;
  const wchar_t* errors;
  std::int32_t offset;
};

const Faulty kFaulty[] = {
    {L"", L"Empty document", -1},
    {L"<!-- only -->", L"No root element", -1},
    {L" \t\r\n", L"No root element", -1},
    {L"<a/><b/>", L"Root element has sibling", -1},

    {L"<a><b></a>", L"End tag 'a' at offset 6 does not match start tag 'b' at offset 3", 6},
    {L"<a></b></a>", L"End tag 'b' at offset 3 does not match start tag 'a' at offset 0", 3},
    {L"<a><b><c></a>",
     L"End tag 'a' at offset 9 does not match start tag 'c' at offset 6, "
     L"End tag 'a' at offset 9 does not match start tag 'b' at offset 3",
     9},
    {L"<a></ab></a>", L"End tag 'ab' at offset 3 does not match start tag 'a' at offset 0", 3},
    {L"<a></></a>", L"End tag '' at offset 3 does not match start tag 'a' at offset 0", 3},
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
    {L"<a></a", L"Element end tag at offset 3 unterminated, Element 'a' at offset 0 not ended", 3},
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

const wchar_t* const kWellFormed[] = {
    L"<a/>",
    L" text <a/> more text ",
    L"<?xml version=\"1.0\"?>\n<!-- c -->\n<a/>\n<!-- d -->",
    L"<a b='>' c=\"/>\" d = '<x>'></a>",
    L"<a b=c/d></a>",
    L"<a><?p > ?><!-- > </a> --><![CDATA[</a>]]></a>",
    L"<a><!----></a>",
    L"<a><?p?"
    L"?></a>",
    L"<a><![CDATA[]]</a>]>]]></a>",
    L"<:a><_/><\u00E9/><{/></:a>",
    L"<a.b-c1></a.b-c1>",
    L"<!DOCTYPE a [<b> '<' ]><a/>",
    L"<!DOCTYPE a [</b> '<c>' ]><a/>",
    L"<!DOCTYPE a SYSTEM \"x>y\"><a/>",
    L"<!DOCTYPE a [\n<!ELEMENT a (b)>\n<!ATTLIST a b CDATA '>'>\n<!ENTITY c \"<x>'\">\n"
    L"<!NOTATION d SYSTEM ''>\n<!-- > ' --> <?p > ' ?>\n]><a/>",
};

}  // namespace

TEST(MXmlDocument, EachFaultHasItsMessageWithItsOffset) {
  for (const Faulty& faulty : kFaulty) {
    SCOPED_TRACE(faulty.text);
    MXmlDocument document;
    EXPECT_FALSE(document.SetText(faulty.text));
    EXPECT_FALSE(document.IsWellFormed());
    EXPECT_EQ(document.GetErrorText(), faulty.errors);
    EXPECT_EQ(document.GetErrorOffset(), faulty.offset);
  }
  for (const wchar_t c : std::wstring_view(L"-;=@[]\\^`.09 \n")) {
    MXmlDocument document;
    EXPECT_FALSE(document.SetText(std::wstring(L"<a><") + c + L"></a>"));
    EXPECT_EQ(document.GetErrorText(), L"Incorrect tag name character at offset 3");
  }
}

TEST(MXmlDocument, WhatIsWellFormedHasNoErrors) {
  for (const wchar_t* text : kWellFormed) {
    SCOPED_TRACE(text);
    MXmlDocument document;
    EXPECT_TRUE(document.SetText(text));
    EXPECT_TRUE(document.IsWellFormed());
    EXPECT_EQ(document.GetErrorText(), L"");
    EXPECT_EQ(document.GetErrorOffset(), -1);
    EXPECT_EQ(document.GetText(), text);
  }
}

TEST(MXmlDocument, ALaterParseKeepsTheEarlierErrorsInFront) {
  MXmlDocument document;
  EXPECT_FALSE(document.IsWellFormed());
  EXPECT_TRUE(document.GetErrorText().empty());
  EXPECT_FALSE(document.SetText(L"<a"));
  EXPECT_FALSE(document.SetText(L""));
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
  const MString& first = document.GetErrorText();
  EXPECT_EQ(first.size(), 16384 + std::wstring(L" ... (cut)").size());
  EXPECT_TRUE(first.starts_with(L"Element 'a' at offset 299997 not ended, Element 'a' at "));
  EXPECT_TRUE(first.ends_with(L" ... (cut)"));

  // A fault that there is no room for still has its place.
  EXPECT_FALSE(document.SetText(L"<a><b></a>"));
  EXPECT_EQ(document.GetErrorOffset(), 6);
}

TEST(MXmlDocument, RecordsHoldWhereElementsAreAndHowTheyAreRelated) {
  MXmlDocument document;
  EXPECT_TRUE(document.SetText(L"<a x='1'>t<b/><c><d /></c ></a>"));
  using Record = std::vector<std::int64_t>;
  // start, length, start tag, end tag, flags, parent, first child, next, previous, last child
  EXPECT_THAT(RecordsInOrder(document),
              testing::ElementsAre(Record{0, 31, 0, 0, 0, 0, 1, 0, 0, 1},
                                   Record{0, 31, 9, 4, 0, 0, 2, 0, 0, 3},
                                   Record{10, 4, 4, 0, 0x10000, 1, 0, 3, 0, 0},
                                   Record{14, 13, 3, 5, 0, 1, 4, 0, 2, 4},
                                   Record{17, 5, 5, 0, 0x10000, 3, 0, 0, 0, 0}));
}

TEST(MXmlDocument, AFaultEndsAtTheNextMarkupAndFlagsSayHowElementsEnd) {
  struct Case {
    const wchar_t* text;
    const wchar_t* outline;
    std::vector<std::int64_t> flags;  // of the document, then of the elements in order
  };
  const Case cases[] = {
      {L"<a b='c' />", L"a()", {0, 0x10000}},
      {L"<a b=c/></a>", L"a()", {0, 0}},
      {L"<a/><b/>", L"a()b()", {0, 0x10000, 0x10000}},
      {L"<a>", L"a()", {0x800000, 0x100000}},
      {L"<a></b>", L"a()", {0x800000, 0x300000}},
      {L"<a/></a>", L"a()", {0x800000, 0x10000}},
      {L"<a><1 x><b/></a>", L"a(b())", {0x800000, 0, 0x10000}},
      {L"<a><1 x<b/></a>", L"a(b())", {0x800000, 0, 0x10000}},
      {L"<a><<b/></a>", L"a(b())", {0x800000, 0, 0x10000}},
      {L"<a><b></a><d/>", L"a(b())d()", {0x800000, 0, 0x200000, 0x10000}},
      {L"<a><b></x><c/></b></a>", L"a(b(c()))", {0x800000, 0, 0x200000, 0x10000}},
      {L"<a><!-- <b/></a>", L"a()", {0x800000, 0x100000}},
      {L"<a><b/>\n<![x]]><c/></a>", L"a(b()c())", {0x800000, 0, 0x10000, 0x10000}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    MXmlDocument document;
    static_cast<void>(document.SetText(c.text));
    EXPECT_EQ(Outline(document), c.outline);
    std::vector<std::int64_t> flags;
    for (const auto& record : RecordsInOrder(document)) {
      flags.push_back(record[4]);
    }
    EXPECT_EQ(flags, c.flags);
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
    EXPECT_EQ(line, expectedLine) << offset;
    EXPECT_EQ(column, expectedColumn) << offset;
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
      ASSERT_EQ(document.GetAttribute(L"a"), value);
      ASSERT_EQ(document.GetAttribute(L"b"), L"'");
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
  for (const wchar_t mark : {L'<', L'>', L'"', L'\''}) {
    for (const int shift :
         {7, 8, 15, sizeof(wchar_t) == 2 ? 14 : 16, sizeof(wchar_t) == 2 ? 9 : 31}) {
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
