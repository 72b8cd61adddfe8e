// SPDX-License-Identifier: MIT
// Memory runs out at the first, the second, ... request: nothing crashes or leaks, and the document
// is what its text says.
#include "tests/support/Allocations.h"
#include "tests/xml/XmlKit.h"

#include <functional>
#include <new>
#include <string>
#include <utility>

namespace {

// Names and values here do not fit into a string object, so that each copy asks for memory.
const std::wstring kText =
    L"<?xml version='1.0'?><documentElement attributeName='attribute value'>"
    L"<firstChild>some text &amp; more of it</firstChild><secondChild/></documentElement>";
const std::wstring kFaultyText =
    L"<documentElement><firstChild></otherElement><secondChild/></documentElement>";
const std::wstring kLong(1100, L'n');  // as a name: an end tag whose length is kept elsewhere
const std::wstring kPosition = L"a name that is longer than what a string holds in itself";

/// Edits a document at the child of its root.
void EditWithoutMemory(const std::wstring& text, const std::function<bool(MXmlDocument&)>& edit) {
  Allocations::WithLittle([&](int granted) {
    MXmlDocument document;
    static_cast<void>(document.SetText(text));
    EXPECT_TRUE(document.FindElement() && document.FindChildElement());
    document.SavePosition(L"child");
    const MString errors = document.GetErrorText();
    const MString child(document.GetChildTagName());
    bool edited = false;
    const bool refused = Allocations::IsRefused(granted, [&] {
      try {
        edited = edit(document);
      } catch (const std::bad_alloc&) {
        edited = false;
      }
    });
    EXPECT_NE(edited, refused);
    if (refused) {
      EXPECT_EQ(document.GetText(), text);
      EXPECT_EQ(document.GetErrorText(), errors);
      EXPECT_EQ(document.GetNodeType(), MXmlNodeType::kElement);
      EXPECT_TRUE(document.RestorePosition(L"child"));
      EXPECT_EQ(document.GetChildTagName(), child);
    }
    EXPECT_TRUE(IndexIsThatOfItsText(document));
    return refused;
  });
}

}  // namespace

TEST(MXmlDocument, WithoutMemoryAParseLeavesAnEmptyDocumentThatSaysSo) {
  std::wstring text = kFaultyText;
  for (int i = 0; i < 300; ++i) {
    text += L"<a></b>";
  }
  Allocations::WithLittle([&](int granted) {
    MXmlDocument document;
    EXPECT_FALSE(document.SetText(L"<a>"));
    EXPECT_TRUE(document.FindElement());
    MString copy = text;
    const bool refused =
        Allocations::IsRefused(granted, [&] { EXPECT_FALSE(document.SetText(std::move(copy))); });
    EXPECT_TRUE(IndexIsThatOfItsText(document));
    const MString& errors = document.GetErrorText();
    EXPECT_EQ(document.HasRunOutOfMemory(), refused);
    if (refused) {
      EXPECT_TRUE(document.GetText().empty());
      EXPECT_TRUE(errors.ends_with(L"Out of memory")) << errors;
      EXPECT_FALSE(document.FindElement());
      EXPECT_TRUE(document.SetText(L"<b/>"));
      EXPECT_FALSE(document.HasRunOutOfMemory());
    } else {
      EXPECT_EQ(document.GetText(), text);
      EXPECT_TRUE(errors.starts_with(L"Element 'a' at offset 0 not ended, End tag 'otherElement'"));
    }
    return refused;
  });
}

TEST(MXmlDocument, WithoutMemoryAnEditChangesNothing) {
  for (const std::wstring& text : {kText, kFaultyText}) {
    SCOPED_TRACE(text);
    EditWithoutMemory(text, [](MXmlDocument& document) {
      return document.AddElement(kLong, kLong, MXmlDocument::kAddAsChild);
    });
    EditWithoutMemory(text, [](MXmlDocument& document) {
      return document.AddElement(L"e", kLong, MXmlDocument::kAddCData);
    });
    EditWithoutMemory(text, [](MXmlDocument& document) {
      return document.AddNode(MXmlNodeType::kCData, kLong + L"]]>" + kLong);
    });
    EditWithoutMemory(
        text, [](MXmlDocument& document) { return document.SetAttribute(L"other", kLong); });
    EditWithoutMemory(text, [](MXmlDocument& document) {
      return document.AddChildDocument(L"<embedded><" + kLong + L">x</" + kLong +
                                       L"><a/><b/><c/><d/></embedded>");
    });
    EditWithoutMemory(text, [](MXmlDocument& document) {
      return document.IntoElement() &&
             Velta::Xml::DocumentAccess::AddElementWithDocument(
                 document, kLong, L"<a><" + kLong + L"></" + kLong + L"></a>");
    });
    EditWithoutMemory(text, [](MXmlDocument& document) { return document.RemoveElement(); });
    EditWithoutMemory(text, [](MXmlDocument& document) {
      document.SavePosition(kPosition);
      return document.RestorePosition(kPosition);
    });
  }
}

TEST(ElementIndex, WithoutMemoryThereIsNoFurtherPage) {
  using Velta::Xml::ElementIndex;
  Allocations::WithLittle([](int granted) {
    ElementIndex index;
    index.Extend(ElementIndex::kPageSize - index.Room() - 1);
    EXPECT_EQ(index.Room() + 1, ElementIndex::kPageSize) << "the first page is not full";
    const bool refused = Allocations::IsRefused(granted, [&] {
      try {
        index.Extend(1);
      } catch (const std::bad_alloc&) {
      }
    });
    EXPECT_EQ(index.Room() + 1 == ElementIndex::kPageSize, refused);
    return refused;
  });
}

TEST(MXmlDocument, WithoutMemoryAnEmptyTagWithALongNameStaysOne) {
  EditWithoutMemory(L"<r><" + kLong + L"/></r>", [](MXmlDocument& document) {
    return document.IntoElement() && document.AddChildDocument(L"<a><b/><c/></a>");
  });
}
