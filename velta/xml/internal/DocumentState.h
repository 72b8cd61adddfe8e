// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"
#include "velta/xml/MXmlNodeType.h"
#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/ElementIndex.h"
#include "velta/xml/internal/ErrorText.h"
#include "velta/xml/internal/Measures.h"
#include "velta/xml/internal/SavedPositions.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Velta::Xml {

/// Where a document's operations are.
struct Position {
  ElementId parent = ElementId::kDocument;
  ElementId current = ElementId::kNone;
  ElementId child = ElementId::kNone;
  // A current node that is not an element; `current` is kNone then.
  MXmlNodeType nodeType = MXmlNodeType::kNone;
  Offset nodeOffset = Offset::kBegin;
  Length nodeLength = Length::kZero;
  ElementId precedingElement = ElementId::kNone;  // the last sibling before it: saves a search

  [[nodiscard]] bool IsOnNode() const noexcept { return nodeType != MXmlNodeType::kNone; }
  [[nodiscard]] Offset NodeEnd() const noexcept { return nodeOffset + nodeLength; }

  /// The element that is current, or the last one before the current node on the level.
  [[nodiscard]] ElementId LastElement() const noexcept {
    return IsOnNode() ? precedingElement : current;
  }
};

/// What an `MXmlDocument` holds.
struct DocumentState {
  MString text;
  ErrorText errors;
  bool ranOutOfMemory = false;  // in the last `SetText`
  Position position;
  std::uint32_t flags = 0;
  ElementIndex index;
  SavedPositions saved;
  // Kept for their capacity; one edit at a time uses them.
  MString editText;  // what it inserts
  MString escaped;   // what of this it had to escape

  [[nodiscard]] bool IgnoresCase() const noexcept;
  [[nodiscard]] bool IsIllFormed() const noexcept {
    return index.At(ElementId::kDocument).Has(kIllFormed);
  }

  /// Parses the text. Throws `std::bad_alloc`; what it leaves is then to be emptied.
  void Parse();

  /// Forgets the text and all positions, without asking for memory.
  void BecomeEmpty() noexcept;

  [[nodiscard]] const wchar_t* PlaceOf(Offset offset) const noexcept {
    return text.data() + ToInt(offset);
  }
  [[nodiscard]] Offset OffsetOf(const wchar_t* place) const noexcept {
    return OffsetAt(static_cast<std::size_t>(place - text.data()));
  }
  [[nodiscard]] std::wstring_view Part(Span span) const noexcept {
    return {PlaceOf(span.begin), static_cast<std::size_t>(ToInt(span.Size()))};
  }

  [[nodiscard]] std::wstring_view NameOf(ElementId element) const noexcept {
    return NameAt(PlaceOf(index.At(element).start) + 1);
  }

  /// The child of `parent` that follows `previous`, or with kNone the first one.
  [[nodiscard]] ElementId NextChild(ElementId parent, ElementId previous) const noexcept {
    return previous != ElementId::kNone ? index.At(previous).nextSibling
                                        : index.At(parent).firstChild;
  }
  [[nodiscard]] ElementId NextOnLevel() const noexcept {
    return NextChild(position.parent, position.LastElement());
  }

  [[nodiscard]] bool IsNamed(ElementId element, std::wstring_view name) const noexcept {
    if (IgnoresCase()) {
      return SameName(NameOf(element), name, true);
    }
    const wchar_t* at = PlaceOf(index.At(element).start) + 1;
    for (const wchar_t c : name) {
      // A name that contains markup, or goes past the end of the text, is none.
      if (*at++ != c || IsNameEnd(c)) {
        return false;
      }
    }
    return IsNameEnd(*at);
  }

  /// Where the content of an element begins and ends; of kDocument, the whole text.
  [[nodiscard]] Offset ContentBegin(ElementId element) const noexcept {
    return element == ElementId::kDocument
               ? Offset::kBegin
               : index.At(element).start + index.GetTagLengths(element).start;
  }
  [[nodiscard]] Offset ContentEnd(ElementId element) const noexcept {
    return element == ElementId::kDocument
               ? OffsetAt(text.size())
               : index.EndOf(element) - index.GetTagLengths(element).end;
  }
};

/// Whether there is exactly one root element and no fault.
[[nodiscard]] bool IsWellFormed(const ElementIndex& index) noexcept;

}  // namespace Velta::Xml
