// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"
#include "velta/xml/MXmlNodeType.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/Measures.h"

#include <cstddef>
#include <cstdint>

namespace Velta::Xml {

/// Where something is inserted into the content of an element, or of the document.
struct Place {
  ElementId parent;
  ElementId previous;  // the element before it on its level, or kNone
  Offset offset;
};

/// After the current node, or as the last of the level.
[[nodiscard]] Place PlaceAfterCurrent(const DocumentState& state) noexcept;

/// In the current element: after the current child, or as the last.
[[nodiscard]] Place PlaceInCurrent(const DocumentState& state) noexcept;

/// One edit of a document, as a transaction: text, index, positions and errors change together, or
/// nothing does.
///
/// ```cpp
/// Edit edit(state, PlaceAfterCurrent(state), Edit::Layout::kOwnLine);
/// edit.Text().append(L"<a/>");
/// return edit.CommitElement({LengthFrom(edit.Composed()), Length::kZero}, kEmptyTag,
///                           Edit::Level::kCurrent);
/// ```
///
/// A commit returns false, with nothing changed, when the text would be too long, or when a fault
/// before the place would swallow what is added. It throws `std::bad_alloc`, with nothing changed.
class Edit {
 public:
  enum class Layout : std::uint8_t { kInline, kOwnLine };

  /// What a new element becomes: the current element or the current child.
  enum class Level : std::uint8_t { kCurrent, kChild };

  /// Inserts a node. An empty tag around it becomes a start tag and an end tag.
  Edit(DocumentState& state, const Place& place, Layout layout);

  /// Replaces a part of a tag.
  ///
  /// @param element  whose start tag it is; kNone for the current processing instruction
  Edit(DocumentState& state, Span replaced, ElementId element) noexcept;

  /// Removes an element, with the line break after it.
  Edit(DocumentState& state, ElementId removed) noexcept;

  Edit(const Edit&) = delete;
  Edit& operator=(const Edit&) = delete;

  /// What is inserted: append it here.
  [[nodiscard]] MString& Text() noexcept { return text_; }

  /// How many characters have been appended. More than a text may have are refused by the commit.
  [[nodiscard]] std::size_t Composed() const noexcept { return text_.size() - opening_; }

  // One of these ends the edit.

  /// Adds the element that has been composed, and makes it current.
  [[nodiscard]] bool CommitElement(TagLengths tags, std::int32_t flags, Level level);

  /// The same for an element without an end tag, which makes the document ill formed.
  [[nodiscard]] bool CommitStartTag(Level level);

  /// The same for the root element of another document.
  ///
  /// @param tree  the index of that document, which is well formed. It is used up
  [[nodiscard]] bool CommitTree(ElementIndex& tree, Level level);

  /// Adds the nodes that have been composed, none of them an element, and makes the last current.
  ///
  /// @param type    of all of them
  /// @param before  how long those before the last one are
  [[nodiscard]] bool CommitNode(MXmlNodeType type, Length before);

  /// Replaces the part of a tag.
  [[nodiscard]] bool CommitTag();

  /// Removes the element. The one before it becomes current.
  [[nodiscard]] bool CommitRemoval();

 private:
  /// A node that the text must have after the edit; any will do for kNone.
  struct ExpectedNode {
    MXmlNodeType type;
    Offset offset;
  };

  /// Changes the index with the text; of an ill-formed document, parses the text again. No other
  /// function tells the two apart.
  ///
  /// @param takeRecords  returns an `UnlinkedTree` for the element that is added; may throw
  template <class TakeRecords>
  [[nodiscard]] bool Commit(ExpectedNode expected, TakeRecords takeRecords);
  [[nodiscard]] bool CommitByParsing(ExpectedNode expected);

  /// Composes what the place needs after the node.
  void CloseText();
  [[nodiscard]] bool MakeRoom();
  void ReplaceText() noexcept;
  void RetagElement();
  void MoveRecords() noexcept;
  void DropRemoved() noexcept;
  void MoveToAdded(Level level) noexcept;

  /// Where the document stands without the removed element: on the one before it.
  [[nodiscard]] Position PositionBeforeRemoved() const noexcept;

  /// Where an element will begin; kNowhere when it is replaced.
  [[nodiscard]] Offset NewStartOf(ElementId element) const noexcept;
  [[nodiscard]] Length Growth() const noexcept { return LengthOf(text_) - replaced_.Size(); }
  [[nodiscard]] Offset NodeStart() const noexcept { return replaced_.begin + LengthFrom(opening_); }

  DocumentState& state_;
  MString& text_;              // takes the place of what is replaced; the document keeps it
  const Span replaced_;        // a part of the text as it was
  const ElementId around_;     // the innermost element that grows or shrinks
  const ElementId following_;  // the first element after the change
  // Of an insertion.
  Place place_{};
  Layout layout_ = Layout::kInline;
  std::size_t opening_ = 0;  // how much of the text the place needs before the node
  Length nodeLength_ = Length::kZero;
  ElementId added_ = ElementId::kNone;
  // Other changes to elements.
  ElementId retagged_ = ElementId::kNone;  // its tag lengths change
  bool opensParent_ = false;               // that is the parent: so far an empty tag
  bool isOpenElement_ = false;             // what is added lacks its end tag
  ElementId removed_ = ElementId::kNone;
};

}  // namespace Velta::Xml
