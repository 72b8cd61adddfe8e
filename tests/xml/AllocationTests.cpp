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

using Edit = std::function<bool(MXmlDocument&)>;

// Names and values here do not fit into a string object, so that each copy asks for memory.
const std::wstring kText =
    L"<?xml version='1.0'?><documentElement attributeName='attribute value'>"
    L"<firstChild>some text &amp; more of it</firstChild><secondChild/></documentElement>";
const std::wstring kFaultyText =
    L"<documentElement><firstChild></otherElement><secondChild/></documentElement>";
const std::wstring kLong(1100, L'n');  // as a name: an end tag whose length is kept elsewhere
const std::wstring kPosition = L"a name that is longer than what a string holds in itself";

/// Whether `action`, with that many allocations granted, is refused one.
bool IsRefusedBy(int granted, const std::function<void()>& action) {
  return Allocations::IsRefused(granted, [&] {
    try {
      action();
    } catch (const std::bad_alloc&) {
    }
  });
}

/// Edits a document at the child of its root: done, or refused without a trace.
void EditWithoutMemory(const std::wstring& text, const Edit& edit) {
  SCOPED_TRACE(text);
  Allocations::WithLittle([&](int granted) {
    MXmlDocument document;
    static_cast<void>(document.SetText(text));
    EXPECT_TRUE(document.FindElement() && document.FindChildElement());
    document.SavePosition(L"child");
    const MString errors = document.GetErrorText();
    const MString child(document.GetChildTagName());
    bool edited = false;
    const bool refused = IsRefusedBy(granted, [&] { edited = edit(document); });
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
        IsRefusedBy(granted, [&] { EXPECT_FALSE(document.SetText(std::move(copy))); });
    EXPECT_TRUE(IndexIsThatOfItsText(document));
    const MString& errors = document.GetErrorText();
    EXPECT_EQ(document.HasRunOutOfMemory(), refused);
    EXPECT_EQ(document.GetText(), refused ? L"" : text);
    if (refused) {
      EXPECT_TRUE(errors.ends_with(L"Out of memory")) << errors;
      EXPECT_FALSE(document.FindElement());
      EXPECT_TRUE(document.SetText(L"<b/>"));
      EXPECT_FALSE(document.HasRunOutOfMemory());
    } else {
      EXPECT_TRUE(errors.starts_with(L"Element 'a' at offset 0 not ended, End tag 'otherElement'"));
    }
    return refused;
  });
}

TEST(MXmlDocument, WithoutMemoryAnEditChangesNothing) {
  const Edit edits[] = {
      [](auto& document) { return document.AddElement(kLong, kLong, MXmlDocument::kAddAsChild); },
      [](auto& document) { return document.AddElement(L"e", kLong, MXmlDocument::kAddCData); },
      [](auto& document) { return document.AddNode(MXmlNodeType::kCData, kLong + L"]]>" + kLong); },
      [](auto& document) { return document.SetAttribute(L"other", kLong); },
      [](auto& document) {
        return document.AddChildDocument(L"<embedded><" + kLong + L">x</" + kLong +
                                         L"><a/><b/><c/><d/></embedded>");
      },
      [](auto& document) {
        return document.IntoElement() &&
               Velta::Xml::DocumentAccess::AddElementWithDocument(
                   document, kLong, L"<a><" + kLong + L"></" + kLong + L"></a>");
      },
      [](auto& document) { return document.RemoveElement(); },
      [](auto& document) {
        document.SavePosition(kPosition);
        return document.RestorePosition(kPosition);
      }};
  for (const Edit& edit : edits) {
    EditWithoutMemory(kText, edit);
    EditWithoutMemory(kFaultyText, edit);
  }
  // An empty tag with a long name stays one.
  EditWithoutMemory(L"<r><" + kLong + L"/></r>", [](auto& document) {
    return document.IntoElement() && document.AddChildDocument(L"<a><b/><c/></a>");
  });
}

TEST(ElementIndex, WithoutMemoryThereIsNoFurtherPage) {
  using Velta::Xml::ElementIndex;
  Allocations::WithLittle([](int granted) {
    ElementIndex index;
    index.Extend(ElementIndex::kPageSize - index.Room() - 1);
    EXPECT_EQ(index.Room() + 1, ElementIndex::kPageSize) << "the first page is not full";
    const bool refused = IsRefusedBy(granted, [&] { index.Extend(1); });
    EXPECT_EQ(index.Room() + 1 == ElementIndex::kPageSize, refused);
    return refused;
  });
}
