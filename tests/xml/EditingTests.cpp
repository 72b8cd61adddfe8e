// SPDX-License-Identifier: MIT
// The text that edits leave, and what they refuse.
#include "tests/xml/XmlKit.h"

#include <functional>
#include <string>

using Velta::Xml::DocumentAccess;

namespace {

/// A document that stands on the first element of that name.
struct At {
  MXmlDocument document;

  At(const wchar_t* text, const wchar_t* name) {
    static_cast<void>(document.SetText(text));
    for (;;) {
      while (document.FindElement()) {
        if (document.GetTagName() == name) {
          return;
        }
        static_cast<void>(document.IntoElement());
      }
      if (!document.OutOfElement()) {
        return;
      }
    }
  }
};

void ExpectText(const MXmlDocument& document, const std::wstring& text) {
  EXPECT_EQ(document.GetText(), text);
  EXPECT_TRUE(IndexIsThatOfItsText(document));
}

}  // namespace

TEST(MXmlDocument, AnElementIsWrittenAsItsFlagsSay) {
  struct Case {
    const wchar_t* data;
    std::uint32_t flags;
    const wchar_t* text;
  };
  const Case cases[] = {
      {L"", 0, L"<a/>\n"},
      {L"", MXmlDocument::kAddSpaceBeforeSlash, L"<a />\n"},
      {L"<'&\">", 0, L"<a>&lt;'&amp;\"&gt;</a>\n"},
      {L"x]]>y", MXmlDocument::kAddCData, L"<a><![CDATA[x]]]]><![CDATA[>y]]></a>\n"},
      {L"]]>]]>", MXmlDocument::kAddCData, L"<a><![CDATA[]]]]><![CDATA[>]]]]><![CDATA[>]]></a>\n"},
  };
  for (const Case& c : cases) {
    MXmlDocument document;
    ASSERT_TRUE(document.AddElement(L"a", c.data, c.flags));
    ExpectText(document, c.text);
    EXPECT_EQ(document.GetData(), c.data);
  }
  MXmlDocument document;
  ASSERT_TRUE(DocumentAccess::AddElementWithAttribute(document, L"r", L"type", L"<\""));
  ExpectText(document, L"<r type=\"&lt;&quot;\"/>\n");
}

TEST(MXmlDocument, AnElementGoesAfterTheCurrentNodeOrTheContent) {
  struct Case {
    const wchar_t* text;
    const wchar_t* current;  // null: none, on the level inside of "r"
    const wchar_t* edited;
  };
  const Case cases[] = {
      {L"<r><a/><b/></r>", L"a", L"<r><a/><n/>\n<b/></r>"},
      {L"<r><a/>\r\n<b/></r>", L"a", L"<r><a/>\r\n<n/>\n<b/></r>"},
      {L"<r><a/>x<b/></r>", L"a", L"<r><a/><n/>\nx<b/></r>"},
      {L"<r><a/>\n<b/>\n</r>", L"b", L"<r><a/>\n<b/>\n<n/>\n</r>"},
      {L"<r/>", L"r", L"<r/><n/>\n"},
      {L"<r />", nullptr, L"<r>\n<n/>\n</r>"},
      {L"<r a='1'  />\n", nullptr, L"<r a='1'>\n<n/>\n</r>\n"},
      {L"<r / />", nullptr, L"<r / >\n<n/>\n</r>"},
      {L"<r></r>", nullptr, L"<r>\n<n/>\n</r>"},
      {L"<r><a/>x</r>", nullptr, L"<r><a/>x<n/>\n</r>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    At at(c.text, c.current != nullptr ? c.current : L"r");
    if (c.current == nullptr) {
      ASSERT_TRUE(at.document.IntoElement());
    }
    ASSERT_TRUE(at.document.AddElement(L"n"));
    EXPECT_EQ(at.document.GetNodeText(), L"<n/>");
    ExpectText(at.document, c.edited);
  }
}

TEST(MXmlDocument, AChildGoesAfterTheCurrentChildOrTheContent) {
  At at(L"<r><a/><b/>x</r>", L"r");
  MXmlDocument& document = at.document;
  ASSERT_TRUE(document.FindChildElement(L"a"));
  ASSERT_TRUE(document.AddElement(L"n", L"1", MXmlDocument::kAddAsChild));
  ASSERT_TRUE(document.SetChildAttribute(L"y", L"2"));
  EXPECT_EQ(document.GetTagName(), L"r");
  EXPECT_EQ(document.GetChildTagName(), L"n");
  ExpectText(document, L"<r><a/><n y=\"2\">1</n>\n<b/>x</r>");
  document.ResetPosition();
  ASSERT_TRUE(document.FindElement());
  ASSERT_TRUE(document.AddElement(L"m", {}, MXmlDocument::kAddAsChild));
  ExpectText(document, L"<r><a/><n y=\"2\">1</n>\n<b/>x<m/>\n</r>");
}

TEST(MXmlDocument, AStartTagAloneIsAFaultUntilItsEndIsThere) {
  At at(L"<r><b/><a/></r>", L"b");
  MXmlDocument& document = at.document;
  document.SavePosition(L"b");
  ASSERT_TRUE(document.FindElement(L"a"));
  ASSERT_TRUE(document.AddElement(L"s", {}, MXmlDocument::kAddStartTagOnly));
  EXPECT_FALSE(document.IsWellFormed());
  ExpectText(document, L"<r><b/><a/><s>\n</r>");

  // Editing goes on, and what was saved is still there.
  ASSERT_TRUE(document.IntoElement() && document.AddElement(L"c"));
  ASSERT_TRUE(document.SetAttribute(L"d", L"1"));
  EXPECT_EQ(document.GetNodeText(), L"<c d=\"1\"/>");
  ASSERT_TRUE(document.AddNode(MXmlNodeType::kProcessingInstruction, L"p") &&
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
  // Each text ends in something without an end, and what is added goes after it.
  const wchar_t* const texts[] = {L"<r/><b",   L"<r/><b c='",       L"<r/></b",
                                  L"<r/><!--", L"<r/><![CDATA[",    L"<r/><?p",
                                  L"<r/><",    L"<r/><!DOCTYPE b '"};
  for (const wchar_t* text : texts) {
    MXmlDocument document;
    const std::function<bool()> edits[] = {
        [&] { return document.AddElement(L"n", L"1"); },
        [&] { return document.AddElement(L"n", L"1", MXmlDocument::kAddStartTagOnly); },
        [&] { return DocumentAccess::AddElementWithAttribute(document, L"n", L"a", L"1"); },
        [&] { return DocumentAccess::AddElementWithDocument(document, L"n", L"<x/>"); },
        [&] { return document.AddNode(MXmlNodeType::kComment, L"x"); },
        [&] { return document.AddNode(MXmlNodeType::kText, L"x"); },
        [&] { return document.AddNode(MXmlNodeType::kCData, L"x]]>"); }};
    for (const auto& edit : edits) {
      SCOPED_TRACE(text);
      document.ClearErrorText();
      ASSERT_FALSE(document.SetText(text));
      const MString errors = document.GetErrorText();
      const std::int32_t offset = document.GetErrorOffset();
      const bool added = edit();
      const std::int32_t current = document.GetOffset();
      document.ResetPosition();
      if (added) {
        ASSERT_GE(current, 0);
        while (document.GetOffset() != current) {
          ASSERT_NE(document.FindNode(kAnyNode), MXmlNodeType::kNone) << "no node is there";
        }
      } else {
        EXPECT_EQ(current, -1);
        EXPECT_EQ(document.GetText(), text);
        EXPECT_EQ(document.GetErrorText(), errors);
        EXPECT_EQ(document.GetErrorOffset(), offset);
      }
      EXPECT_TRUE(IndexIsThatOfItsText(document));
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
  struct Case {
    MXmlNodeType type;
    const wchar_t* content;
    const wchar_t* node;
    bool isBlock;  // on lines of its own
  };
  const Case cases[] = {
      {MXmlNodeType::kProcessingInstruction, L"p", L"<?p?>", true},
      {MXmlNodeType::kComment, L" c > ", L"<!-- c > -->", true},
      {MXmlNodeType::kDocumentType, L"r [<!ENTITY e '>'>]", L"<!DOCTYPE r [<!ENTITY e '>'>]>",
       true},
      {MXmlNodeType::kText, L"<t>", L"&lt;t&gt;", false},
      {MXmlNodeType::kWhitespace, L"\n\t", L"\n\t", false},
      {MXmlNodeType::kCData, L"<t>", L"<![CDATA[<t>]]>", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.node);
    const std::wstring node = c.node;
    const std::wstring lineFeed = c.isBlock ? L"\n" : L"";
    At empty(L"<r/>", L"r");
    ASSERT_TRUE(empty.document.IntoElement());
    ASSERT_TRUE(empty.document.AddNode(c.type, c.content));
    ExpectText(empty.document, L"<r>" + lineFeed + node + lineFeed + L"</r>");
    At after(L"<r><a/></r>", L"a");
    MXmlDocument& document = after.document;
    ASSERT_TRUE(document.AddNode(c.type, c.content));
    ExpectText(document, L"<r><a/>" + node + lineFeed + L"</r>");
    EXPECT_EQ(document.GetNodeText(), node);
  }
}

TEST(MXmlDocument, WhatWouldNotReadBackIsRefused) {
  const std::wstring text = L"<r><a b='1'/></r>";
  At at(text.c_str(), L"a");
  MXmlDocument& document = at.document;
  for (const wchar_t* name : {L"", L"1", L"a b", L"a>", L"a/", L"a=", L"<a", L"a?"}) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(document.AddElement(name));
    EXPECT_FALSE(DocumentAccess::AddElementWithAttribute(document, L"x", name, L"x"));
    EXPECT_FALSE(DocumentAccess::AddElementWithDocument(document, name, L"<x/>"));
    EXPECT_FALSE(document.SetAttribute(name, L"x"));
  }
  struct Node {
    MXmlNodeType type;
    const wchar_t* content;
  };
  const Node nodes[] = {
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
  for (const Node& node : nodes) {
    SCOPED_TRACE(node.content);
    EXPECT_FALSE(document.AddNode(node.type, node.content));
  }
  for (const wchar_t* xml : {L"", L"x", L"<b>", L"<b/><c/>", L"<b/><1>"}) {
    EXPECT_FALSE(document.AddChildDocument(xml));
    EXPECT_FALSE(DocumentAccess::AddElementWithDocument(document, L"n", xml));
  }
  EXPECT_EQ(document.GetText(), text);
  EXPECT_EQ(document.GetTagName(), L"a");
}

TEST(MXmlDocument, AnAttributeIsReplacedInPlaceOrAddedLast) {
  struct Case {
    const wchar_t* tag;
    const wchar_t* edited;  // null: refused
  };
  const Case cases[] = {
      {L"<a/>", L"<a b=\"&lt;2&apos;\"/>"},
      {L"<a />", L"<a  b=\"&lt;2&apos;\"/>"},
      {L"<a c='1'/>", L"<a c='1' b=\"&lt;2&apos;\"/>"},
      {L"<a b='1' c=''/>", L"<a b='&lt;2&apos;' c=''/>"},
      {L"<a b = \"\" c=''/>", L"<a b = \"&lt;2&apos;\" c=''/>"},
      {L"<a b c></a>", L"<a b=\"&lt;2&apos;\" c></a>"},
      {L"<a b=1/></a>", L"<a b=\"&lt;2&apos;\"></a>"},
      {L"<a c=1></a>", L"<a c=1 b=\"&lt;2&apos;\"></a>"},
      {L"<a c b/></a>", nullptr},
      {L"<?a c='1?><r/>", nullptr},
      {L"<?a?><r/>", L"<?a b=\"&lt;2&apos;\"?><r/>"},
      {L"<!--a--><r/>", nullptr},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.tag);
    MXmlDocument document;
    ASSERT_TRUE(document.SetText(c.tag));
    ASSERT_NE(document.FindNode(kAnyNode), MXmlNodeType::kNone);
    EXPECT_EQ(document.SetAttribute(L"b", L"<2'"), c.edited != nullptr);
    ExpectText(document, c.edited != nullptr ? c.edited : c.tag);
    EXPECT_EQ(document.GetAttribute(L"b") == L"<2'", c.edited != nullptr);
  }
}

TEST(MXmlDocument, OnlyTheRootOfADocumentIsTakenIn) {
  At at(L"<r><a/><b/></r>", L"r");
  MXmlDocument& document = at.document;
  ASSERT_TRUE(document.FindChildElement());
  ASSERT_TRUE(document.AddChildDocument(L"<?xml?><!--x-->\n<d e='1'><f>2</f><g/></d>\n"));
  EXPECT_EQ(document.GetChildTagName(), L"d");
  ExpectText(document, L"<r><a/><d e='1'><f>2</f><g/></d>\n<b/></r>");

  // A document's own text may be its source, and a new element its place.
  ASSERT_TRUE(document.IntoElement() && document.AddChildDocument(document.GetNodeText()));
  ExpectText(document, L"<r><a/><d e='1'><f>2</f><g/><d e='1'><f>2</f><g/></d>\n</d>\n<b/></r>");
  ASSERT_TRUE(
      DocumentAccess::AddElementWithDocument(document, L"n", document.GetNodeText().substr(17, 4)));
  EXPECT_EQ(document.GetNodeText(), L"<n>\n<g/>\n</n>");
  ExpectText(document,
             L"<r><a/><d e='1'><f>2</f><g/><d e='1'><f>2</f><g/></d>\n</d>\n"
             L"<n>\n<g/>\n</n>\n<b/></r>");
}

TEST(MXmlDocument, RemovingUndoesAddingAndDropsWhatWasSavedInside) {
  At at(L"<r><a/>\n<b><c/></b><d/></r>", L"b");
  MXmlDocument& document = at.document;
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
  ASSERT_TRUE(document.FindElement(L"d"));
  // The next elements get the records that have become free.
  const std::int32_t records = DocumentAccess::StateOf(document).index.NextFree();
  ASSERT_TRUE(document.AddElement(L"e") && document.AddElement(L"f"));
  EXPECT_EQ(DocumentAccess::StateOf(document).index.NextFree(), records);
  ASSERT_TRUE(document.RestorePosition(L"d"));
  EXPECT_EQ(document.GetTagName(), L"d");
  ExpectText(document, L"<r><a/>\n<d/><e/>\n<f/>\n</r>");

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
  for (const std::size_t end : {std::size_t{1022}, std::size_t{1023}, std::size_t{1024}}) {
    ASSERT_TRUE(document.AddElement(name.substr(0, end - 3), L"data"));
    expectTags(end - 1, end);
  }
  ASSERT_TRUE(document.AddElement(L"a", L"data"));
  for (const std::size_t more : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) {
    const std::size_t start = (1 << 22) - 2 + more;
    ASSERT_TRUE(document.SetAttribute(L"b", std::wstring(start - 8, L'v')));
    expectTags(start, 4);
  }
  ASSERT_TRUE(document.AddChildDocument(L"<" + name + L">x</" + name + L">"));
  ASSERT_TRUE(document.OutOfElement() && document.RemoveElement());
  EXPECT_TRUE(IndexIsThatOfItsText(document));
}

TEST(MXmlDocument, ATextThatOutgrowsItsCapacityGetsHalfAsMuchAgain) {
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(L"<r></r>") && document.FindElement() && document.IntoElement());
  for (int i = 0; i < 20; ++i) {
    const std::size_t before = document.GetText().capacity();
    ASSERT_TRUE(document.AddElement(L"a", std::wstring(100, L'x')));
    const std::size_t length = document.GetText().size();
    if (length <= before) {
      EXPECT_EQ(document.GetText().capacity(), before);
    } else {
      const std::size_t wanted = length + length / 2 + 128;
      EXPECT_GE(document.GetText().capacity(), wanted);
      EXPECT_LE(document.GetText().capacity(), wanted + 16);  // as the runtime rounds
    }
  }
}
