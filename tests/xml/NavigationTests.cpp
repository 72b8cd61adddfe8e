// SPDX-License-Identifier: MIT
#include "tests/xml/XmlKit.h"

#include <cstdint>
#include <cwchar>
#include <iterator>
#include <string>
#include <utility>

using Velta::Xml::DocumentAccess;

TEST(MXmlDocument, WithoutACurrentNodeEveryQuestionHasAnEmptyAnswer) {
  const std::wstring text = L"<a b='1'>x</a>";
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(text));
  EXPECT_EQ(document.GetNodeType(), MXmlNodeType::kNone);
  EXPECT_EQ(document.GetOffset(), -1);
  EXPECT_EQ(document.GetLength(), 0);
  EXPECT_EQ(document.GetTagName(), L"");
  EXPECT_EQ(document.GetNodeText(), L"");
  MString untouched = L"untouched";
  EXPECT_FALSE(document.GetAttribute(L"b", &untouched) || document.GetData(&untouched) ||
               document.GetChildData(&untouched) || document.FindChildElement() ||
               document.IntoElement() || document.OutOfElement() || document.RemoveElement() ||
               document.SetAttribute(L"b", L"2") || document.SetChildAttribute(L"b", L"2") ||
               document.AddChildDocument(L"<c/>") || document.RestorePosition(L"never saved") ||
               document.AddElement(L"c", {}, MXmlDocument::kAddAsChild));
  EXPECT_EQ(untouched, L"untouched");
  EXPECT_EQ(document.GetText(), text);
}

TEST(MXmlDocument, ASearchThatFindsNothingLeavesThePositionAlone) {
  MXmlDocument document;
  Open(document, L"<r>1<a/>2<b/>3<a x='2'/>4</r>", L"r");
  EXPECT_FALSE(document.FindElement());
  ASSERT_TRUE(document.IntoElement());
  EXPECT_FALSE(document.FindElement(L"A"));
  EXPECT_EQ(document.GetNodeType(), MXmlNodeType::kNone);
  ASSERT_TRUE(document.FindElement(L"b"));
  EXPECT_FALSE(document.FindElement(L"b"));
  EXPECT_EQ(document.GetTagName(), L"b");
  ASSERT_EQ(document.FindNode(MXmlNodeType::kText), MXmlNodeType::kText);
  EXPECT_EQ(document.FindNode(MXmlNodeType::kComment), MXmlNodeType::kNone);
  EXPECT_EQ(document.GetData(), L"3");
  ASSERT_TRUE(document.FindElement(L"a"));
  EXPECT_EQ(document.GetAttribute(L"x"), L"2");
  ASSERT_TRUE(document.OutOfElement());
  EXPECT_FALSE(document.OutOfElement());
  EXPECT_EQ(document.GetTagName(), L"r");
  document.SetFlags(MXmlDocument::kIgnoreCase);
  EXPECT_TRUE(document.IntoElement() && document.FindElement(L"B"));
}

TEST(MXmlDocument, ChildrenCanBeLookedAtFromOutside) {
  MXmlDocument document;
  MString text;
  Open(document, L"<r><a>1</a><b y='2'>3<c/></b></r>", L"r");
  ASSERT_TRUE(document.FindChildElement() && document.GetChildData(&text));
  EXPECT_EQ(text, L"1");
  ASSERT_TRUE(document.FindChildElement(L"b") && document.GetChildAttribute(L"y", &text));
  EXPECT_EQ(text, L"2");
  EXPECT_FALSE(document.FindChildElement());
  EXPECT_EQ(document.GetChildTagName(), L"b");
  ASSERT_TRUE(document.IntoElement());
  EXPECT_EQ(document.GetTagName(), L"b") << "the current child";
  ASSERT_TRUE(document.OutOfElement() && document.IntoElement());
  EXPECT_EQ(document.GetNodeType(), MXmlNodeType::kNone);
}

TEST(MXmlDocument, EveryNodeIsFoundWithItsNameAndData) {
  const wchar_t text[] =
      L"<?xml version='1.0'?>\n<!DOCTYPE r[<!ENTITY e '<b>'>]><r> <!--c-->t&lt;<?p q='1'?>"
      L"<![CDATA[<d>]]><![CX]]></r>";
  const struct {
    MXmlNodeType type;
    const wchar_t* name;
    const wchar_t* data;
    const wchar_t* text;
  } nodes[] = {
      {MXmlNodeType::kProcessingInstruction, L"xml", L"xml version='1.0'",
       L"<?xml version='1.0'?>"},
      {MXmlNodeType::kWhitespace, L"#text", L"\n", L"\n"},
      {MXmlNodeType::kDocumentType, L"r", L"DOCTYPE r[<!ENTITY e '<b>'>]",
       L"<!DOCTYPE r[<!ENTITY e '<b>'>]>"},
      {MXmlNodeType::kElement, L"r", L" t<<d>", std::wcsstr(text, L"<r>")},
      {MXmlNodeType::kWhitespace, L"#text", L" ", L" "},
      {MXmlNodeType::kComment, L"#comment", L"c", L"<!--c-->"},
      {MXmlNodeType::kText, L"#text", L"t<", L"t&lt;"},
      {MXmlNodeType::kProcessingInstruction, L"p", L"p q='1'", L"<?p q='1'?>"},
      {MXmlNodeType::kCData, L"#cdata-section", L"<d>", L"<![CDATA[<d>]]>"},
      {MXmlNodeType::kCData, L"#cdata-section", L"", L"<![CX]]>"},
  };
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(text)) << document.GetErrorText();
  std::size_t next = 0;
  Walk(document, kAnyNode, [&](std::size_t) {
    const auto& node = nodes[next++];
    EXPECT_EQ(document.GetNodeType(), node.type) << node.text;
    EXPECT_EQ(document.GetTagName(), node.name);
    EXPECT_EQ(document.GetData(), node.data);
    EXPECT_EQ(document.GetNodeText(), node.text);
    return next == std::size(nodes);
  });
  EXPECT_EQ(next, std::size(nodes));
  EXPECT_EQ(document.FindNode(kAnyNode), MXmlNodeType::kNone);
}

TEST(MXmlDocument, SavedPositionsPutBackTheLevelTheyNamed) {
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(L"<r><a><x/><y/></a><b/></r>"));
  document.SavePosition(L"top");
  ASSERT_TRUE(document.FindElement() && document.IntoElement());
  document.SavePosition();
  ASSERT_TRUE(document.FindElement() && document.FindChildElement(L"y"));
  document.SavePosition(L"pot");  // the same bucket as "top"
  ASSERT_TRUE(document.RestorePosition(L"top"));
  EXPECT_FALSE(document.OutOfElement());
  EXPECT_EQ(document.GetTagName(), L"");
  ASSERT_TRUE(document.RestorePosition(L"pot"));
  EXPECT_EQ(document.GetTagName(), L"a");
  EXPECT_EQ(document.GetChildTagName(), L"y");
  ASSERT_TRUE(document.RestorePosition());
  EXPECT_EQ(document.GetTagName(), L"");
  ASSERT_TRUE(document.OutOfElement());
  EXPECT_EQ(document.GetTagName(), L"r");
  ASSERT_TRUE(document.SetText(L"<r/>"));
  EXPECT_FALSE(document.RestorePosition(L"top"));
}

TEST(MXmlDocument, AttributesAreReadInAgreementWithWhereTheTagEnds) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      // name=[value] of each, in order
      {L"<a/>", L""},
      {L"<a b = '1'\n\tc\r=\r\"2\" />", L"b=[1]c=[2]"},
      {L"<a b='&lt;&#65;&quot;'/>", L"b=[<A\"]"},
      {L"<a b=''c=''/>", L"b=[]c=[]"},
      {L"<a b c='1' d/></a>", L"b=[]c=[1]d=[]"},
      {L"<a b=1 c=x/y></a>", L"b=[1]c=[x/y]"},
      {L"<a b='>' c='/>'/>", L"b=[>]c=[/>]"},
      {L"<a 'x' b='1'/>", L"x=[]b=[1]"},
      {L"<a ='1' b='2'/>", L"b=[2]"},
      {L"<a b=></a>", L"b=[]"},
      {L"<?p b='1' c=\"2\" d?><a/>", L"b=[1]c=[2]d=[]"},
      {L"<?p b='1?><a/>", L"b=[1]"},
      {L"<\?\?><a/>", L""},
  };
  for (const auto& [tag, expected] : cases) {
    SCOPED_TRACE(tag);
    MXmlDocument document;
    ASSERT_TRUE(document.SetText(tag)) << document.GetErrorText();
    ASSERT_NE(document.FindNode(kAnyNode), MXmlNodeType::kNone);
    std::wstring attributes;
    MString name;
    MString value;
    for (std::int32_t cursor = 0; document.GetNextAttribute(&cursor, &name, &value);) {
      attributes.append(name).append(L"=[").append(value).append(L"]");
    }
    EXPECT_EQ(attributes, expected);
  }
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(L"<a b='1' b='2' B='3' bb='4'/>") && document.FindElement());
  EXPECT_EQ(document.GetAttribute(L"b") + document.GetAttribute(L"bb"), L"14");
  EXPECT_EQ(document.GetAttribute(L"B"), L"3");
  EXPECT_FALSE(document.GetAttribute(L"", nullptr));
  document.SetFlags(MXmlDocument::kIgnoreCase);
  EXPECT_EQ(document.GetAttribute(L"B"), L"1");
}

TEST(MXmlDocument, TheNextElementsDataIsSeenWithoutMovingThere) {
  const struct {
    const wchar_t* xml;
    const wchar_t* attribute;
    const wchar_t* data;  // null: the next element is another
  } cases[] = {
      {L"<r>text<a s='' t = 'x&#38;'>1&lt;<b>2</b>3</a></r>", L"t", L"1<3"},
      {L"<r><a t=\"x&amp;\">1</a></r>", L"t", L"1"},
      {L"<r><a t=\"x&amp;amp;\">1</a></r>", L"t", nullptr},
      {L"<r><a t=\"1\" u=\"x&amp;\">1</a></r>", L"t=\"1\" u", nullptr},
      {L"<r><a>1</a></r>", L"t", nullptr},
      {L"<r><ab t=\"x&amp;\">1</ab></r>", L"t", nullptr},
      {L"<r></r>", L"t", nullptr},
  };
  for (const auto& [xml, attribute, expected] : cases) {
    SCOPED_TRACE(xml);
    MXmlDocument document;
    ASSERT_TRUE(document.SetText(xml) && document.FindElement() && document.IntoElement());
    MString buffer;
    const auto data = DocumentAccess::PeekData(document, L"a", attribute, L"x&", buffer);
    ASSERT_EQ(data.has_value(), expected != nullptr);
    EXPECT_EQ(data.value_or(L""), expected != nullptr ? expected : L"");
    EXPECT_EQ(document.GetTagName(), L"") << "it has moved";
  }
}

TEST(MXmlDocument, MarkupIsNoPartOfAName) {
  const std::wstring text = L"<r><aaaaaaaaaaaaaaa t=\"1\">b</aaaaaaaaaaaaaaa></r>";
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(text) && document.FindElement() && document.IntoElement());
  const std::wstring padded = text.substr(4) + std::wstring(20, L'\0');
  for (std::size_t length = 0; length <= padded.size(); ++length) {
    const std::wstring name = padded.substr(0, length);
    MString buffer;
    const auto data = DocumentAccess::PeekData(document, name, L"t", L"1", buffer);
    ASSERT_EQ(data.has_value(), length == 15) << name;
    ASSERT_EQ(document.FindElement(name), length == 15) << name;
    ASSERT_TRUE(document.OutOfElement() && document.IntoElement());
  }
}

TEST(MXmlDocument, DataIsTheElementsOwnTextAndCDataInOrder) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"<a> x\n</a>", L" x\n"},
      {L"<a>1<b>2</b>3<!--4-->5<?6?>7<![CDATA[&lt;]]>&lt;</a>", L"1357&lt;<"},
      {L"<a><![CDATA[x]]]]><![CDATA[>y]]></a>", L"x]]>y"},
      {L"<a>]]></a>", L"]]>"},
      {L"<a>1</b>2<3>4", L"124"},
  };
  for (const auto& [text, data] : cases) {
    MXmlDocument document;
    Open(document, text, L"a");
    EXPECT_EQ(document.GetData(), data) << text;
  }
}
