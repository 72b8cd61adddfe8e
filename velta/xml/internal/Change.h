// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/DocumentState.h"

#include <cstddef>
#include <cstdint>

namespace Velta::Xml {

/// One replacement in a document's text by its `scratch`, and what that means for the index.
///
/// First everything that may fail, `Prepare` and whatever the caller needs; then `Apply`, which
/// cannot, or `ApplyAndParse`, which changes nothing when it does.
class Change {
 public:
  /// @param from, to  the part of the text to be replaced
  /// @param around    the innermost element that grows or shrinks by it, or 0
  /// @param behind    the first element behind it, or 0
  Change(DocumentState& document, std::int32_t from, std::int32_t to, std::int32_t around,
         std::int32_t behind) noexcept
      : state(document), begin(from), end(to), parent(around), firstBehind(behind) {}

  /// Makes room. False when the text would be too long.
  [[nodiscard]] bool Prepare() const;

  /// By how much the text grows. To be asked behind `Prepare`.
  [[nodiscard]] std::int32_t Distance() const noexcept {
    return static_cast<std::int32_t>(state.scratch.size()) - (end - begin);
  }

  /// Replaces, and moves the records of what is around and behind.
  void Apply() const noexcept;

  /// Replaces, and parses the whole text again: the way for documents with faults. Positions go on
  /// naming the elements that are still there.
  ///
  /// @param type, offset  a node that the text must then have; any will do for `kNone`
  /// @return false, with nothing changed, when it has none: a fault before it has swallowed it
  [[nodiscard]] bool ApplyAndParse(MXmlNodeType type, std::int32_t offset) const;

 private:
  void ReplaceText() const noexcept;
  void RestoreText(const MString& replaced) const noexcept;

  /// Where an element that is there now will begin; in no place when it is replaced.
  [[nodiscard]] std::int32_t NewStartOf(std::int32_t element) const noexcept;

  DocumentState& state;
  std::int32_t begin;
  std::int32_t end;
  std::int32_t parent;
  std::int32_t firstBehind;
};

}  // namespace Velta::Xml
