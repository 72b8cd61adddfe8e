// SPDX-License-Identifier: MIT
// Texts that are cut, changed by a character, or no text at all.
#include "tests/xml/XmlKit.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

/// Reads a text and walks all of it. What is well formed has no errors, and what is not has some.
void ReadAndWalk(const std::wstring& text) {
  SCOPED_TRACE(text);
  MXmlDocument document;
  const bool isWellFormed = document.SetText(text);
  ASSERT_EQ(document.IsWellFormed(), isWellFormed);
  ASSERT_EQ(document.GetErrorText().empty(), isWellFormed);
  ASSERT_EQ(document.GetText(), text);
  std::size_t nodes = 0;
  Walk(document, kAnyNode, [&](std::size_t) {
    EXPECT_LE(static_cast<std::size_t>(document.GetOffset() + document.GetLength()), text.size());
    MString name;
    MString data;
    EXPECT_TRUE(document.GetData(&data));
    for (std::int32_t cursor = 0; document.GetNextAttribute(&cursor, &name, &data);) {
      EXPECT_TRUE(document.GetAttribute(name, nullptr));
    }
    return ++nodes > text.size();
  });
  ASSERT_LE(nodes, text.size()) << "walks on and on";
}

}  // namespace

TEST(MXmlDocument, EveryPartAndEveryChangeOfOneCharacterIsReadToItsEnd) {
  const std::wstring whole =
      L"<?xml version=\"1.0\"?>\n"
      L"<!DOCTYPE a [<!ELEMENT a (b)><!ENTITY e '>'><!-- ' --><?p '?>]>\n"
      L"<a x=\"1\" y = '<>'>t&amp;&#10;&#x41;\n"
      L"<b/><c z='/' />"
      L"<!-- c - -- ><b> -->"
      L"<![CDATA[ ]] <d> ]]>"
      L"<?q > ?>"
      L"<d><d></d>text</d></a>\n"
      L"<!-- end -->";
  EXPECT_TRUE(MXmlDocument().SetText(whole));
  // What markup is made of, a letter, a digit, NUL, a lone surrogate, no character.
  const std::wstring inserted(L"<>/!?-[]='\"& \nA1\0\xD800\xFFFF", 19);
  for (std::size_t at = 0; at <= whole.size(); ++at) {
    const std::wstring front = whole.substr(0, at);
    const std::wstring back = whole.substr(at);
    ReadAndWalk(front);
    ReadAndWalk(back);
    for (const wchar_t c : inserted) {
      ReadAndWalk(front + c + back);
    }
    if (!back.empty()) {
      ReadAndWalk(front + back.substr(1));
    }
  }
}

TEST(MXmlDocument, NulEndsANameAndNothingElse) {
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(std::wstring(L"<a\0b c\0='1>'></a>", 17)) &&
              document.FindElement(L"a"));
  EXPECT_EQ(document.GetLength(), 17);
}
