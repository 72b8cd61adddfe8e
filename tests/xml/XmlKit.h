// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"
#include "velta/xml/internal/DocumentState.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

/// A record's fields: start, length, start tag, end tag, flags, parent, first child, next, previous
/// and last child. Links are places in the order of the text.
using RecordFields = std::array<std::int64_t, 10>;

/// The records of a document's elements in the order of the text, so that indexes compare whatever
/// numbers their records have.
inline std::vector<RecordFields> RecordsInOrder(const MXmlDocument& document) {
  using namespace Velta::Xml;
  const ElementIndex& index = DocumentAccess::StateOf(document).index;
  std::vector<ElementId> order{ElementId::kDocument};
  std::map<ElementId, std::int64_t> place{{ElementId::kDocument, 0}};
  for (ElementId element = index.At(ElementId::kDocument).firstChild; element != ElementId::kNone;
       element = index.Following(element)) {
    place[element] = static_cast<std::int64_t>(order.size());
    order.push_back(element);
  }
  std::vector<RecordFields> records;
  for (const ElementId element : order) {
    const ElementRecord& record = index.At(element);
    const TagLengths tags = index.GetTagLengths(element);
    const Length length = element == ElementId::kDocument ? record.length : index.LengthOf(element);
    const auto placeOf = [&](ElementId link) { return place.count(link) ? place[link] : -1; };
    records.push_back({ToInt(record.start), ToInt(length), ToInt(tags.start), ToInt(tags.end),
                       record.flags, placeOf(record.parent), placeOf(record.firstChild),
                       placeOf(record.nextSibling), placeOf(record.previousSibling),
                       placeOf(record.lastChild)});
  }
  return records;
}

/// Whether a document's index is what parsing its text again gives.
inline testing::AssertionResult IndexIsThatOfItsText(const MXmlDocument& document) {
  MXmlDocument fresh;
  fresh.SetFlags(document.GetFlags());
  if (!document.GetText().empty()) {
    static_cast<void>(fresh.SetText(document.GetText()));
  }
  const auto expected = RecordsInOrder(fresh);
  const auto actual = RecordsInOrder(document);
  if (expected == actual) {
    return testing::AssertionSuccess();
  }
  testing::StringMatchResultListener difference;
  testing::ExplainMatchResult(testing::ElementsAreArray(expected), actual, &difference);
  return testing::AssertionFailure() << difference.str() << " in: " << document.GetText();
}

inline void ExpectText(const MXmlDocument& document, const std::wstring& text) {
  EXPECT_EQ(document.GetText(), text);
  EXPECT_TRUE(IndexIsThatOfItsText(document));
}

inline constexpr auto kAnyNode = static_cast<MXmlNodeType>(127);

/// Moves to each node of these types on the current level and below it. `visit` gets a node's depth
/// and ends the walk there by returning true.
template <class Visit>
void Walk(MXmlDocument& document, MXmlNodeType types, Visit visit) {
  for (std::size_t depth = 0;;) {
    if (document.FindNode(types) != MXmlNodeType::kNone) {
      if (visit(depth)) {
        return;
      }
      depth += document.IntoElement() ? 1 : 0;
    } else if (depth-- == 0 || !document.OutOfElement()) {
      return;
    }
  }
}

/// Sets a text, well formed or not, and moves to its first element of that name.
inline void Open(MXmlDocument& document, const std::wstring& text, std::wstring_view name) {
  static_cast<void>(document.SetText(text));
  Walk(document, MXmlNodeType::kElement,
       [&](std::size_t) { return document.GetTagName() == name; });
}
