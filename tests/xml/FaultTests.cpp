// SPDX-License-Identifier: MIT
// Texts that are cut, changed by a character, or no text at all.
#include "tests/xml/XmlKit.h"

#include <string>

namespace {

const wchar_t kEverything[] =
    L"<?xml version=\"1.0\"?>\n"
    L"<!DOCTYPE a [<!ELEMENT a (b)><!ENTITY e '>'><!-- ' --><?p '?>]>\n"
    L"<a x=\"1\" y = '<>'>t&amp;&#10;&#x41;\n"
    L"<b/><c z='/' />"
    L"<!-- c - -- ><b> -->"
    L"<![CDATA[ ]] <d> ]]>"
    L"<?q > ?>"
    L"<d><d></d>text</d></a>\n"
    L"<!-- end -->";

/// Reads a text and walks all of it.
///
/// What is well formed has no errors, and what is not has some.
void ReadAndWalk(const std::wstring& text) {
  MXmlDocument document;
  const bool isWellFormed = document.SetText(text);
  ASSERT_EQ(document.IsWellFormed(), isWellFormed) << Narrow(text);
  ASSERT_EQ(document.GetErrorText().empty(), isWellFormed) << Narrow(text);
  ASSERT_EQ(document.GetText(), text);

  MString data;
  MString name;
  const MXmlNodeType all = MXmlNodeType::kElement | MXmlNodeType::kText |
                           MXmlNodeType::kWhitespace | MXmlNodeType::kCData |
                           MXmlNodeType::kProcessingInstruction | MXmlNodeType::kComment |
                           MXmlNodeType::kDocumentType;
  std::size_t steps = 0;
  for (int depth = 0; depth >= 0;) {
    ASSERT_LT(steps++, 4 * text.size() + 4) << Narrow(text);
    if (document.FindNode(all) == MXmlNodeType::kNone) {
      --depth;
      static_cast<void>(document.OutOfElement());
      continue;
    }
    ASSERT_LE(static_cast<std::size_t>(document.GetOffset() + document.GetLength()), text.size());
    ASSERT_TRUE(document.GetData(&data));
    ASSERT_LE(document.GetTagName().size(), text.size() + 14);
    for (std::int32_t cursor = 0; document.GetNextAttribute(&cursor, &name, &data);) {
      ASSERT_TRUE(document.GetAttribute(name, nullptr)) << Narrow(text);
    }
    if (document.IntoElement()) ++depth;
  }
}

}  // namespace

TEST(MXmlDocument, EveryPartAndEveryChangeOfOneCharacterIsReadToItsEnd) {
  const std::wstring whole = kEverything;
  ReadAndWalk(whole);
  MXmlDocument document;
  EXPECT_TRUE(document.SetText(whole)) << Narrow(document.GetErrorText());
  // What markup is made of, a letter, a digit, NUL, a lone surrogate, no character.
  const std::wstring inserted(L"<>/!?-[]='\"& \nA1\0\xD800\xFFFF", 19);
  for (std::size_t at = 0; at <= whole.size(); ++at) {
    const std::wstring front = whole.substr(0, at);
    const std::wstring back = whole.substr(at);
    ReadAndWalk(front);
    ReadAndWalk(back);
    for (const wchar_t c : inserted) ReadAndWalk(front + c + back);
    if (back.size() < 2) continue;
    ReadAndWalk(front + back.substr(1));
    ReadAndWalk(front + back[1] + back[0] + back.substr(2));
  }
}

TEST(MXmlDocument, WhatIsNoTextPassesThroughUnchanged) {
  std::wstring hostile(L"\0\x1\xD800\xDC00\xDFFF\xFFFE\xFFFF\x7F", 8);
  const std::wstring text =
      L"<a b='" + hostile + L"'>" + hostile + L"<c" + hostile.substr(2) + L"/>" + hostile + L"</a>";
  ReadAndWalk(text);
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(text));
  ASSERT_TRUE(document.FindElement(L"a"));
  EXPECT_EQ(document.GetAttribute(L"b"), hostile);
  EXPECT_EQ(document.GetData(), hostile + hostile);

  ASSERT_TRUE(document.IntoElement());
  ASSERT_TRUE(document.AddElement(L"d", hostile));
  ASSERT_TRUE(document.SetAttribute(L"e", hostile));
  EXPECT_EQ(document.GetData(), hostile);
  EXPECT_EQ(document.GetAttribute(L"e"), hostile);
  EXPECT_TRUE(IndexIsThatOfItsText(document));

  // NUL ends a name, and nothing else.
  ASSERT_TRUE(document.SetText(std::wstring(L"<a\0b c\0='1>'></a>", 17)));
  ASSERT_TRUE(document.FindElement(L"a"));
  EXPECT_EQ(document.GetLength(), 17);
}
