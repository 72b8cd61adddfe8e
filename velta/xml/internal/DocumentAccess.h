// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

#include <cstdint>
#include <optional>
#include <string_view>

class MXmlDocument;

namespace Velta::Xml {

struct DocumentState;

/// What the filers need of a document beyond its public operations.
class DocumentAccess {
 public:
  /// The data of the very next element on the current level, if that has a given name and an
  /// attribute with a given value, decoded. Does not move: `FindElement` goes there.
  ///
  /// @param buffer  where the data is put together unless it is one text without references
  /// @return the data, valid as long as neither the document nor `buffer` changes; nothing when the
  ///         next element is another or there is none. Throws `std::bad_alloc`
  [[nodiscard]] static std::optional<std::wstring_view> PeekData(const MXmlDocument& document,
                                                                 std::wstring_view name,
                                                                 std::wstring_view attribute,
                                                                 std::wstring_view value,
                                                                 MString& buffer);

  /// Does what `AddElement`, without flags, and then `SetAttribute` do, as one change.
  [[nodiscard]] static bool AddElementWithAttribute(MXmlDocument& document, std::wstring_view name,
                                                    std::wstring_view attribute,
                                                    std::wstring_view value,
                                                    std::wstring_view data = {});

  /// Adds an element where `AddElement` would, with the root element of another document as its
  /// only content, as one change. It becomes the current element.
  ///
  /// @param xml  as for `AddChildDocument`
  [[nodiscard]] static bool AddElementWithDocument(MXmlDocument& document, std::wstring_view name,
                                                   std::wstring_view xml);

  /// Adds the root element of another document where `AddElement` would add one.
  [[nodiscard]] static bool AddDocument(MXmlDocument& document, std::wstring_view xml);

  /// Goes before the next element of that name on the current level, else before the first.
  ///
  /// @return false, without moving, when there is none
  [[nodiscard]] static bool MoveBefore(MXmlDocument& document, std::wstring_view name) noexcept;

  /// Goes before the first node of the current level.
  static void MoveToStart(MXmlDocument& document) noexcept;

  /// Where the element begins that `FindElement` would find, -1 when there is none.
  [[nodiscard]] static std::int32_t OffsetOfNext(const MXmlDocument& document) noexcept;

  /// The names of the elements around, the outermost first, each followed by "/".
  [[nodiscard]] static MString PathOfLevel(const MXmlDocument& document);

  /// What the document holds. Tests compare indexes.
  [[nodiscard]] static const DocumentState& StateOf(const MXmlDocument& document) noexcept;
};

}  // namespace Velta::Xml
