// SPDX-License-Identifier: MIT
// The text that edits leave, and what they refuse.
#include "tests/xml/XmlKit.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

using Velta::Xml::DocumentAccess;

TEST(MXmlDocument, AnElementIsWrittenWhereAndAsItsFlagsSay) {
  constexpr auto kCData = MXmlDocument::kAddCData;
  constexpr auto kChild = MXmlDocument::kAddAsChild;
  const struct {
    const wchar_t* text;
    const wchar_t* at;  // the current element; with a slash, the level inside of it
    const wchar_t* data;
    std::uint32_t flags;
    const wchar_t* edited;
  } cases[] = {
      {L"", L"", L"", 0, L"<n/>\n"},
      {L"", L"", L"", MXmlDocument::kAddSpaceBeforeSlash, L"<n />\n"},
      {L"", L"", L"<'&\">", 0, L"<n>&lt;'&amp;\"&gt;</n>\n"},
      {L"", L"", L"x]]>y", kCData, L"<n><![CDATA[x]]]]><![CDATA[>y]]></n>\n"},
      {L"", L"", L"]]>]]>", kCData, L"<n><![CDATA[]]]]><![CDATA[>]]]]><![CDATA[>]]></n>\n"},
      // After the current node.
      {L"<r><a/><b/></r>", L"a", L"", 0, L"<r><a/><n/>\n<b/></r>"},
      {L"<r><a/>\r\n<b/></r>", L"a", L"", 0, L"<r><a/>\r\n<n/>\n<b/></r>"},
      {L"<r><a/>x<b/></r>", L"a", L"", 0, L"<r><a/><n/>\nx<b/></r>"},
      {L"<r><a/>\n<b/>\n</r>", L"b", L"", 0, L"<r><a/>\n<b/>\n<n/>\n</r>"},
      {L"<r/>", L"r", L"", 0, L"<r/><n/>\n"},
      // After the content.
      {L"<r />", L"r/", L"", 0, L"<r>\n<n/>\n</r>"},
      {L"<r a='1'  />\n", L"r/", L"", 0, L"<r a='1'>\n<n/>\n</r>\n"},
      {L"<r / />", L"r/", L"", 0, L"<r / >\n<n/>\n</r>"},
      {L"<r></r>", L"r/", L"", 0, L"<r>\n<n/>\n</r>"},
      {L"<r><a/>x</r>", L"r/", L"", 0, L"<r><a/>x<n/>\n</r>"},
      {L"<r><a/>x</r>", L"r", L"1", kChild, L"<r><a/>x<n>1</n>\n</r>"},
  };
  for (const auto& sample : cases) {
    SCOPED_TRACE(sample.edited);
    const std::wstring at = sample.at;
    MXmlDocument document;
    Open(document, sample.text, at.substr(0, 1));
    ASSERT_TRUE(!at.ends_with(L'/') || document.IntoElement());
    ASSERT_TRUE(document.AddElement(L"n", sample.data, sample.flags));
    ExpectText(document, sample.edited);
    EXPECT_EQ(document.GetTagName(), sample.flags == kChild ? L"r" : L"n");
    MString data;
    EXPECT_TRUE(sample.flags == kChild ? document.GetChildData(&data) : document.GetData(&data));
    EXPECT_EQ(data, sample.data);
  }
}

TEST(MXmlDocument, AStartTagAloneIsAFaultUntilItsEndIsThere) {
  MXmlDocument document;
  Open(document, L"<r><b/><a/></r>", L"b");
  document.SavePosition(L"b");
  ASSERT_TRUE(document.FindElement(L"a"));
  ASSERT_TRUE(document.AddElement(L"s", {}, MXmlDocument::kAddStartTagOnly));
  EXPECT_FALSE(document.IsWellFormed());
  ExpectText(document, L"<r><b/><a/><s>\n</r>");

  // Editing goes on, and what was saved is still there.
  ASSERT_TRUE(document.IntoElement() && document.AddElement(L"c") &&
              document.SetAttribute(L"d", L"1") &&
              document.AddNode(MXmlNodeType::kProcessingInstruction, L"p") &&
              document.SetAttribute(L"q", L"2"));
  EXPECT_EQ(document.GetNodeText(), L"<?p q=\"2\"?>");
  ExpectText(document, L"<r><b/><a/><s>\n<c d=\"1\"/>\n<?p q=\"2\"?>\n</r>");
  EXPECT_EQ(document.GetErrorText(),
            L"End tag 'r' at offset 38 does not match start tag 's' at offset 11");
  ASSERT_TRUE(document.RestorePosition(L"b"));
  EXPECT_EQ(document.GetTagName(), L"b");

  // With the faulty element gone the document is well formed again.
  ASSERT_TRUE(document.FindElement(L"s") && document.RemoveElement());
  EXPECT_EQ(document.GetTagName(), L"a");
  EXPECT_TRUE(document.IsWellFormed());
  EXPECT_EQ(document.GetErrorText(), L"");
  EXPECT_EQ(document.GetErrorOffset(), -1);
  ExpectText(document, L"<r><b/><a/></r>");
}

TEST(MXmlDocument, WhatAFaultBeforeItWouldSwallowIsRefused) {
  const std::function<bool(MXmlDocument&)> edits[] = {
      [](auto& document) { return document.AddElement(L"n", L"1"); },
      [](auto& document) {
        return DocumentAccess::AddElementWithAttribute(document, L"n", L"a", L"1");
      },
      [](auto& document) { return document.AddNode(MXmlNodeType::kComment, L"x"); },
      [](auto& document) { return document.AddNode(MXmlNodeType::kText, L"x"); },
      [](auto& document) { return document.AddNode(MXmlNodeType::kCData, L"x]]>"); }};
  // Each text ends in something without an end, and what is added goes after it.
  for (const wchar_t* text : {L"<r/><b", L"<r/><b c='", L"<r/></b", L"<r/><!--", L"<r/><![CDATA[",
                              L"<r/><?p", L"<r/><", L"<r/><!DOCTYPE b '"}) {
    for (const auto& edit : edits) {
      SCOPED_TRACE(text);
      MXmlDocument document;
      ASSERT_FALSE(document.SetText(text));
      const MString errors = document.GetErrorText();
      const bool isAdded = edit(document);
      const std::int32_t added = document.GetOffset();
      EXPECT_EQ(added != -1, isAdded);
      EXPECT_TRUE(isAdded || (document.GetText() == text && document.GetErrorText() == errors));
      EXPECT_TRUE(IndexIsThatOfItsText(document));
      bool isFound = false;
      document.ResetPosition();
      Walk(document, kAnyNode,
           [&](std::size_t) { return isFound = document.GetOffset() == added; });
      EXPECT_EQ(isFound, isAdded) << "a node is there, or none";
    }
  }

  // What is not swallowed stands in the element that is open there, whatever it was added after.
  MXmlDocument document;
  ASSERT_FALSE(document.SetText(L"<r><a/>"));
  ASSERT_TRUE(document.FindElement() && document.AddNode(MXmlNodeType::kComment, L"x"));
  EXPECT_EQ(document.GetNodeText(), L"<!--x-->");
  ASSERT_TRUE(document.OutOfElement());
  EXPECT_EQ(document.GetTagName(), L"r");
}

TEST(MXmlDocument, NodesAreWrittenInTheirShape) {
  const struct {
    MXmlNodeType type;
    const wchar_t* content;
    std::wstring node;
    std::wstring lineFeed;  // of those that stand on lines of their own
  } cases[] = {
      {MXmlNodeType::kProcessingInstruction, L"p", L"<?p?>", L"\n"},
      {MXmlNodeType::kComment, L" c > ", L"<!-- c > -->", L"\n"},
      {MXmlNodeType::kDocumentType, L"r [<!ENTITY e '>'>]", L"<!DOCTYPE r [<!ENTITY e '>'>]>",
       L"\n"},
      {MXmlNodeType::kText, L"<t>", L"&lt;t&gt;", L""},
      {MXmlNodeType::kWhitespace, L"\n\t", L"\n\t", L""},
      {MXmlNodeType::kCData, L"<t>", L"<![CDATA[<t>]]>", L""},
  };
  for (const auto& [type, content, node, lineFeed] : cases) {
    MXmlDocument document;
    Open(document, L"<r/>", L"r");
    ASSERT_TRUE(document.IntoElement() && document.AddNode(type, content));
    ExpectText(document, L"<r>" + lineFeed + node + lineFeed + L"</r>");
    Open(document, L"<r><a/></r>", L"a");
    ASSERT_TRUE(document.AddNode(type, content));
    ExpectText(document, L"<r><a/>" + node + lineFeed + L"</r>");
    EXPECT_EQ(document.GetNodeText(), node);
  }
}

TEST(MXmlDocument, WhatWouldNotReadBackIsRefused) {
  const std::wstring text = L"<r><a b='1'/></r>";
  MXmlDocument document;
  Open(document, text, L"a");
  for (const wchar_t* name : {L"", L"1", L"a b", L"a>", L"a/", L"a=", L"<a", L"a?"}) {
    EXPECT_FALSE(document.AddElement(name)) << name;
    EXPECT_FALSE(DocumentAccess::AddElementWithAttribute(document, L"x", name, L"x")) << name;
    EXPECT_FALSE(DocumentAccess::AddElementWithDocument(document, name, L"<x/>")) << name;
    EXPECT_FALSE(document.SetAttribute(name, L"x")) << name;
  }
  const std::pair<MXmlNodeType, const wchar_t*> nodes[] = {
      {MXmlNodeType::kElement, L"x"},
      {MXmlNodeType::kText | MXmlNodeType::kComment, L"x"},
      {MXmlNodeType::kText, L""},
      {MXmlNodeType::kWhitespace, L" x "},
      {MXmlNodeType::kComment, L"a--b"},
      {MXmlNodeType::kComment, L"a-"},
      {MXmlNodeType::kProcessingInstruction, L"p ?>"},
      {MXmlNodeType::kDocumentType, L"a>"},
      {MXmlNodeType::kDocumentType, L"a '"},
  };
  for (const auto& [type, content] : nodes) {
    EXPECT_FALSE(document.AddNode(type, content)) << content;
  }
  for (const wchar_t* xml : {L"", L"x", L"<b>", L"<b/><c/>", L"<b/><1>"}) {
    EXPECT_FALSE(document.AddChildDocument(xml)) << xml;
    EXPECT_FALSE(DocumentAccess::AddElementWithDocument(document, L"n", xml)) << xml;
  }
  EXPECT_EQ(document.GetText(), text);
  EXPECT_EQ(document.GetTagName(), L"a");
}

TEST(MXmlDocument, AnAttributeIsReplacedInPlaceOrAddedLast) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"<a/>", L"<a b=\"&lt;2&apos;\"/>"},
      {L"<a />", L"<a  b=\"&lt;2&apos;\"/>"},
      {L"<a c='1'/>", L"<a c='1' b=\"&lt;2&apos;\"/>"},
      {L"<a b='1' c=''/>", L"<a b='&lt;2&apos;' c=''/>"},
      {L"<a b = \"\" c=''/>", L"<a b = \"&lt;2&apos;\" c=''/>"},
      {L"<a b c></a>", L"<a b=\"&lt;2&apos;\" c></a>"},
      {L"<a b=1/></a>", L"<a b=\"&lt;2&apos;\"></a>"},
      {L"<a c=1></a>", L"<a c=1 b=\"&lt;2&apos;\"></a>"},
      {L"<a c b/></a>", nullptr},  // refused
      {L"<?a c='1?><r/>", nullptr},
      {L"<?a?><r/>", L"<?a b=\"&lt;2&apos;\"?><r/>"},
      {L"<!--a--><r/>", nullptr},
  };
  for (const auto& [tag, edited] : cases) {
    SCOPED_TRACE(tag);
    MXmlDocument document;
    ASSERT_TRUE(document.SetText(tag));
    ASSERT_NE(document.FindNode(kAnyNode), MXmlNodeType::kNone);
    EXPECT_EQ(document.SetAttribute(L"b", L"<2'"), edited != nullptr);
    ExpectText(document, edited != nullptr ? edited : tag);
    EXPECT_EQ(document.GetAttribute(L"b") == L"<2'", edited != nullptr);
  }
  MXmlDocument document;
  ASSERT_TRUE(DocumentAccess::AddElementWithAttribute(document, L"r", L"type", L"<\""));
  ExpectText(document, L"<r type=\"&lt;&quot;\"/>\n");
}

TEST(MXmlDocument, AfterTheCurrentChildADocumentsRootIsTakenInAndNoMore) {
  MXmlDocument document;
  Open(document, L"<r><a/><b/></r>", L"r");
  ASSERT_TRUE(document.FindChildElement());
  ASSERT_TRUE(document.AddChildDocument(L"<?xml?><!--x-->\n<d e='1'><f>2</f><g/></d>\n"));
  EXPECT_EQ(document.GetChildTagName(), L"d");
  ASSERT_TRUE(document.AddElement(L"n", L"1", MXmlDocument::kAddAsChild) &&
              document.SetChildAttribute(L"y", L"2"));
  EXPECT_EQ(document.GetChildTagName(), L"n");
  ExpectText(document, L"<r><a/><d e='1'><f>2</f><g/></d>\n<n y=\"2\">1</n>\n<b/></r>");
  ASSERT_TRUE(document.IntoElement() && document.RemoveElement());

  // A document's own text may be its source, and a new element its place.
  ASSERT_TRUE(document.AddChildDocument(document.GetNodeText()));
  ExpectText(document, L"<r><a/><d e='1'><f>2</f><g/><d e='1'><f>2</f><g/></d>\n</d>\n<b/></r>");
  ASSERT_TRUE(
      DocumentAccess::AddElementWithDocument(document, L"n", document.GetNodeText().substr(17, 4)));
  EXPECT_EQ(document.GetNodeText(), L"<n>\n<g/>\n</n>");
  ExpectText(document,
             L"<r><a/><d e='1'><f>2</f><g/><d e='1'><f>2</f><g/></d>\n</d>\n"
             L"<n>\n<g/>\n</n>\n<b/></r>");
}

TEST(MXmlDocument, RemovingUndoesAddingAndDropsWhatWasSavedInside) {
  MXmlDocument document;
  Open(document, L"<r><a/>\n<b><c/></b><d/></r>", L"b");
  ASSERT_TRUE(document.AddElement(L"n", L"1") && document.RemoveElement());
  EXPECT_EQ(document.GetTagName(), L"b");
  ExpectText(document, L"<r><a/>\n<b><c/></b><d/></r>");

  document.SavePosition(L"b");
  ASSERT_TRUE(document.FindChildElement());
  document.SavePosition(L"c");
  ASSERT_TRUE(document.FindElement(L"d"));
  document.SavePosition(L"d");
  ASSERT_TRUE(document.RestorePosition(L"b") && document.RemoveElement());
  ExpectText(document, L"<r><a/>\n<d/></r>");
  EXPECT_EQ(document.GetTagName(), L"a");
  EXPECT_FALSE(document.RestorePosition(L"b") || document.RestorePosition(L"c"));
  // New elements get the records that have become free; no saved position names them.
  ASSERT_TRUE(document.AddElement(L"e") && document.AddElement(L"f"));
  ASSERT_TRUE(document.RestorePosition(L"d"));
  EXPECT_EQ(document.GetTagName(), L"d");
  ASSERT_TRUE(document.OutOfElement() && document.RemoveElement());
  ExpectText(document, L"");
}

TEST(MXmlDocument, TagLengthsThatNoFieldHoldsAreKept) {
  MXmlDocument document;
  const auto expectTags = [&](std::size_t start, std::size_t end) {
    const auto& state = DocumentAccess::StateOf(document);
    const auto tags = state.index.GetTagLengths(state.position.current);
    EXPECT_EQ(static_cast<std::size_t>(tags.start), start);
    EXPECT_EQ(static_cast<std::size_t>(tags.end), end);
    EXPECT_EQ(document.GetData(), L"data");
    EXPECT_TRUE(IndexIsThatOfItsText(document));
  };
  ASSERT_TRUE(document.AddElement(L"r") && document.IntoElement());
  // 22 bits hold the start tag's length, 10 the end tag's, and all ones are taken.
  const std::wstring name(1022, L'n');
  for (const std::size_t end : {1022U, 1023U, 1024U}) {
    ASSERT_TRUE(document.AddElement(name.substr(0, end - 3), L"data"));
    expectTags(end - 1, end);
  }
  ASSERT_TRUE(document.AddElement(L"a", L"data"));
  for (std::size_t start = (1 << 22) - 2; start <= 1 << 22; ++start) {
    ASSERT_TRUE(document.SetAttribute(L"b", std::wstring(start - 8, L'v')));
    expectTags(start, 4);
  }
  ASSERT_TRUE(document.AddChildDocument(L"<" + name + L">x</" + name + L">"));
  ASSERT_TRUE(document.OutOfElement() && document.RemoveElement());
  EXPECT_TRUE(IndexIsThatOfItsText(document));
}

TEST(MXmlDocument, ATextThatOutgrowsItsCapacityGetsHalfAsMuchAgain) {
  MXmlDocument document;
  Open(document, L"<r></r>", L"r");
  const std::size_t length = document.GetText().capacity() + 1;
  ASSERT_TRUE(document.AddNode(MXmlNodeType::kText, std::wstring(length - 7, L'x')));
  EXPECT_EQ(document.GetText().size(), length);
  EXPECT_GE(document.GetText().capacity(), length + length / 2 + 128);
  EXPECT_LE(document.GetText().capacity(), length + length / 2 + 144) << "as the runtime rounds";
  const std::size_t capacity = document.GetText().capacity();
  ASSERT_TRUE(document.AddNode(MXmlNodeType::kText, std::wstring(capacity - length, L'x')));
  EXPECT_EQ(document.GetText().capacity(), capacity);
}
