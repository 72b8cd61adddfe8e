// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentState.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace Velta::Xml {

class DocumentProbe {
 public:
  static const DocumentState& State(const MXmlDocument& document) { return *document.state; }
};

}  // namespace Velta::Xml

/// Wide text for messages; what is not printable ASCII as a number.
inline std::string Narrow(std::wstring_view text) {
  std::string narrow;
  for (const wchar_t c : text) {
    if (c >= 0x20 && c < 0x7F) {
      narrow += static_cast<char>(c);
    } else {
      narrow += "\\" + std::to_string(static_cast<std::uint32_t>(c)) + ";";
    }
  }
  return narrow;
}

/// The records of a document's elements in the order of the text, links as numbers in that order:
/// so that indexes compare whatever numbers their records have.
inline std::vector<std::vector<std::int64_t>> RecordsInOrder(const MXmlDocument& document) {
  using Velta::Xml::ElementIndex;
  using Velta::Xml::ElementRecord;
  const ElementIndex& index = Velta::Xml::DocumentProbe::State(document).index;
  std::vector<std::int32_t> order{0};
  std::map<std::int32_t, std::int64_t> place{{0, 0}};
  for (std::int32_t element = index.At(0).firstChild; element != 0;
       element = index.Following(element)) {
    place[element] = static_cast<std::int64_t>(order.size());
    order.push_back(element);
  }
  std::vector<std::vector<std::int64_t>> records;
  for (const std::int32_t element : order) {
    const ElementRecord& record = index.At(element);
    const Velta::Xml::TagLengths tags = index.GetTagLengths(element);
    const auto placeOf = [&](std::int32_t link) { return place.count(link) ? place[link] : -1; };
    records.push_back({record.start, record.length, tags.start, tags.end, record.flags,
                       placeOf(record.parent), placeOf(record.firstChild),
                       placeOf(record.nextSibling), placeOf(record.previousSibling),
                       placeOf(record.lastChild)});
  }
  return records;
}

/// Whether a document's index is what reading its text anew gives.
inline testing::AssertionResult IndexIsThatOfItsText(const MXmlDocument& document) {
  MXmlDocument fresh;
  fresh.SetFlags(document.GetFlags());
  if (document.GetText().empty()) {
    if (RecordsInOrder(document) == RecordsInOrder(fresh)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "there are elements in an empty text";
  }
  static_cast<void>(fresh.SetText(document.GetText()));
  const auto expected = RecordsInOrder(fresh);
  const auto actual = RecordsInOrder(document);
  if (expected == actual) return testing::AssertionSuccess();
  auto failure = testing::AssertionFailure()
                 << "in: " << Narrow(document.GetText()).substr(0, 4000);
  for (std::size_t at = 0; at < expected.size() || at < actual.size(); ++at) {
    const auto no = std::vector<std::int64_t>();
    const auto& left = at < expected.size() ? expected[at] : no;
    const auto& right = at < actual.size() ? actual[at] : no;
    if (left == right) continue;
    return failure << "\nrecord " << at << ": " << testing::PrintToString(right) << " instead of "
                   << testing::PrintToString(left);
  }
  return failure;
}

/// The elements below the current level as "a(b(c)d)": moves through the whole of it.
inline std::wstring Outline(MXmlDocument& document) {
  std::wstring outline;
  for (int depth = 0;;) {
    if (document.FindElement()) {
      outline.append(document.GetTagName()).append(1, L'(');
      if (document.IntoElement()) ++depth;
    } else if (depth-- == 0 || !document.OutOfElement()) {
      return outline;
    } else {
      outline += L')';
    }
  }
}
