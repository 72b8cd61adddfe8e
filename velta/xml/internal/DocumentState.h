// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"
#include "velta/xml/MXmlNodeType.h"
#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/ElementIndex.h"
#include "velta/xml/internal/ErrorText.h"
#include "velta/xml/internal/SavedPositions.h"

#include <cstdint>
#include <string_view>

namespace Velta::Xml {

/// Where a document's operations are. 0 is none, or as parent the top of the document.
struct Position {
  std::int32_t parent = 0;
  std::int32_t current = 0;
  std::int32_t child = 0;
  // A current node that is not an element; `current` is 0 then.
  MXmlNodeType nodeType = MXmlNodeType::kNone;
  std::int32_t nodeOffset = 0;
  std::int32_t nodeLength = 0;
  std::int32_t precedingElement = 0;  // the sibling before that node, so that going on is no search

  [[nodiscard]] bool IsOnNode() const noexcept { return nodeType != MXmlNodeType::kNone; }
  [[nodiscard]] std::int32_t NodeEnd() const noexcept { return nodeOffset + nodeLength; }

  /// The element that is current or last before the current node on the level, or 0.
  [[nodiscard]] std::int32_t LastElement() const noexcept {
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
  MString scratch;  // where edits compose their text; kept for its capacity
  MString escaped;  // what they had to escape for it; likewise

  [[nodiscard]] bool IgnoresCase() const noexcept;
  [[nodiscard]] bool IsIllFormed() const noexcept { return index.At(0).Has(kIllFormed); }

  /// Reads the text anew. Throws `std::bad_alloc`; what it leaves is then to be emptied.
  void Parse();

  /// Forgets the text and all positions, without asking for memory.
  void BecomeEmpty() noexcept;

  [[nodiscard]] std::wstring_view Part(std::int32_t begin, std::int32_t end) const noexcept {
    return {text.data() + begin, static_cast<std::size_t>(end - begin)};
  }

  [[nodiscard]] std::wstring_view NameOf(std::int32_t element) const noexcept {
    return NameAt(text.data() + index.At(element).start + 1);
  }

  /// The child of `above` that follows `previous`, or with 0 the first one.
  [[nodiscard]] std::int32_t NextChild(std::int32_t above, std::int32_t previous) const noexcept {
    return previous != 0 ? index.At(previous).nextSibling : index.At(above).firstChild;
  }
  [[nodiscard]] std::int32_t NextOnLevel() const noexcept {
    return NextChild(position.parent, position.LastElement());
  }

  [[nodiscard]] bool IsNamed(std::int32_t element, std::wstring_view name) const noexcept {
    if (IgnoresCase()) {
      return SameName(NameOf(element), name, true);
    }
    const wchar_t* at = text.data() + index.At(element).start + 1;
    for (const wchar_t c : name) {
      // A name that runs on into the markup, or past the end of the text, is none.
      if (*at++ != c || IsNameEnd(c)) {
        return false;
      }
    }
    return IsNameEnd(*at);
  }

  /// Where the content of an element begins and ends; of 0, the whole text.
  [[nodiscard]] std::int32_t ContentBegin(std::int32_t element) const noexcept {
    return element == 0 ? 0 : index.At(element).start + index.GetTagLengths(element).start;
  }
  [[nodiscard]] std::int32_t ContentEnd(std::int32_t element) const noexcept {
    return element == 0 ? static_cast<std::int32_t>(text.size())
                        : index.EndOf(element) - index.GetTagLengths(element).end;
  }
};

/// Whether there is exactly one root element and no fault.
[[nodiscard]] bool IsWellFormed(const ElementIndex& index) noexcept;

}  // namespace Velta::Xml
