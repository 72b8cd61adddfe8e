// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"
#include "velta/xml/internal/DocumentState.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

/// The records of a document's elements in the order of the text, links as numbers in that order:
/// so that indexes compare whatever numbers their records have.
inline std::vector<std::vector<std::int64_t>> RecordsInOrder(const MXmlDocument& document) {
  using namespace Velta::Xml;
  const ElementIndex& index = DocumentAccess::StateOf(document).index;
  std::vector<ElementId> order{ElementId::kDocument};
  std::map<ElementId, std::int64_t> place{{ElementId::kDocument, 0}};
  for (ElementId element = index.At(ElementId::kDocument).firstChild; element != ElementId::kNone;
       element = index.Following(element)) {
    place[element] = static_cast<std::int64_t>(order.size());
    order.push_back(element);
  }
  std::vector<std::vector<std::int64_t>> records;
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

inline constexpr auto kAnyNode = static_cast<MXmlNodeType>(127);

/// The elements below the current level as "a(b(c)d)": moves through the whole of it.
inline std::wstring Outline(MXmlDocument& document) {
  std::wstring outline;
  for (int depth = 0;;) {
    if (document.FindElement()) {
      outline.append(document.GetTagName()).append(1, L'(');
      if (document.IntoElement()) {
        ++depth;
      }
    } else if (depth-- == 0 || !document.OutOfElement()) {
      return outline;
    } else {
      outline += L')';
    }
  }
}
