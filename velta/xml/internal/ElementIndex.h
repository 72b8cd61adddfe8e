// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Assert.h"
#include "velta/xml/internal/Measures.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Velta::Xml {

/// Where one element is in the text, and its neighbours.
struct ElementRecord {
  Offset start;              // of the start tag
  Length length;             // start tag to end tag, as ElementIndex::LengthOf gives it
  std::uint32_t tagLengths;  // start tag's and end tag's, packed: see ElementIndex
  std::int32_t flags;
  ElementId parent;
  ElementId firstChild;
  ElementId nextSibling;
  ElementId previousSibling;
  ElementId lastChild;  // so that appending does not walk the children

  [[nodiscard]] bool Has(std::int32_t flag) const noexcept { return (flags & flag) != 0; }
};

inline constexpr std::int32_t kEmptyTag = 0x10000;
inline constexpr std::int32_t kEndNotFound = 0x100000;
inline constexpr std::int32_t kNotEndedProperly = 0x200000;
inline constexpr std::int32_t kDeleted = 0x400000;
inline constexpr std::int32_t kIllFormed = 0x800000;  // on the document's record

struct TagLengths {
  Length start;
  Length end;
};

class ElementIndex;

/// The records of an element and of all elements in it, taken but not linked to anything yet. They
/// are given back at the end of the scope, unless `Release` was called: by who links them.
class UnlinkedTree {
 public:
  UnlinkedTree() noexcept = default;
  UnlinkedTree(ElementIndex& index, ElementId root) noexcept : index_(&index), root_(root) {}
  UnlinkedTree(UnlinkedTree&& other) noexcept : index_(other.index_), root_(other.Release()) {}
  UnlinkedTree& operator=(UnlinkedTree&&) = delete;
  ~UnlinkedTree();

  [[nodiscard]] ElementId Root() const noexcept { return root_; }
  ElementId Release() noexcept { return std::exchange(root_, ElementId::kNone); }

 private:
  ElementIndex* index_ = nullptr;
  ElementId root_ = ElementId::kNone;
};

/// The element records of a document, in pages. The record kDocument stands for the document and
/// always exists.
///
/// **Growth.** An edit lengthens every element around its place. So that one deep inside does not
/// go all the way up, the index keeps one sum, `growth_`: the element `grown_` and all around it
/// are longer by it than their records say. The next edit in that element adds to the sum. One in
/// its parent or in a child moves the sum there first: up, by adding it to the record that is left;
/// into a child, by subtracting it from the child's record. Only an edit elsewhere adds it to the
/// records of all these elements. So a writer, who goes from group to group by single steps, pays
/// for one step each time.
class ElementIndex {
 public:
  static constexpr std::size_t kPageSize = 65536;

  ElementIndex();

  /// Drops all records but the document's and makes room for `expected` in all.
  void Reset(std::size_t expected);

  /// The same without asking for memory.
  void Clear() noexcept;

  [[nodiscard]] ElementRecord& At(ElementId element) noexcept {
    const auto position = static_cast<std::uint32_t>(element);
    return pages_[position >> 16][position & 0xFFFF];
  }
  [[nodiscard]] const ElementRecord& At(ElementId element) const noexcept {
    return const_cast<ElementIndex*>(this)->At(element);
  }

  /// The number that the next new record gets.
  [[nodiscard]] std::int32_t NextFree() const noexcept { return nextFree_; }

  /// How many records can be appended without asking for memory.
  [[nodiscard]] std::size_t Room() const noexcept {
    return capacity_ - static_cast<std::size_t>(nextFree_);
  }

  /// Makes room for `count` more records at least, and for a part of those that are there: so n
  /// appended ones take time in proportion to n.
  void Extend(std::size_t count);

  /// A record after all others. There must be room. Its fields are not set.
  [[nodiscard]] ElementId Append() noexcept {
    VELTA_ASSERT(Room() != 0);
    return ElementId{nextFree_++};
  }

  /// A record for a new element.
  [[nodiscard]] UnlinkedTree TakeElement(Offset start, Length length, TagLengths tags,
                                         std::int32_t flags);

  /// Records for all of a document that is well formed and has just been parsed. Uses up its own.
  ///
  /// @param start  where its root element begins in this text
  [[nodiscard]] UnlinkedTree TakeTree(ElementIndex& other, Offset start);

  /// In the index of a well-formed document that has just been parsed: adds an element around the
  /// root element, each tag of it on a line of its own.
  void WrapRoot(TagLengths tags);

  /// Gives back the records of an element, to which nothing links any more, and of all in it.
  void ReleaseTree(ElementId root) noexcept;

  /// In an index that has just been parsed: the element that begins at `start`, or kNone.
  [[nodiscard]] ElementId FindStart(Offset start) const noexcept;

  /// Likewise: the last element that begins before `offset`, or kNone.
  [[nodiscard]] ElementId LastBefore(Offset offset) const noexcept;

  [[nodiscard]] TagLengths GetTagLengths(ElementId element) const noexcept {
    const std::uint32_t packed = At(element).tagLengths;
    const TagLengths lengths{static_cast<Length>(packed & kStartMask),
                             static_cast<Length>(packed >> kStartBits)};
    if (lengths.start != kMaxStart && lengths.end != kMaxEnd) {
      return lengths;
    }
    return GetLongTagLengths(element);
  }

  /// Lengths that the packed field cannot hold are kept in a table. Unchanged when it
  /// throws.
  void SetTagLengths(ElementId element, TagLengths lengths) {
    if (lengths.start < kMaxStart && lengths.end < kMaxEnd && longTags_.empty()) {
      At(element).tagLengths = Pack(lengths);
    } else {
      SetLongTagLengths(element, lengths);
    }
  }

  /// Adds the end tag's length to a record that has none yet.
  void SetEndTagLength(ElementId element, Length length) {
    if (length < kMaxEnd && longTags_.empty()) {
      At(element).tagLengths |= static_cast<std::uint32_t>(length) << kStartBits;
    } else {
      SetLongTagLengths(element, {GetTagLengths(element).start, length});
    }
  }

  /// Puts a record after a sibling, or with kNone before all children, and links it to its parent.
  void Link(ElementId element, ElementId parent, ElementId previous) noexcept;
  void Unlink(ElementId element) noexcept;

  /// To be called when a parse has appended the last record.
  void EndParse() noexcept { last_ = ElementId{nextFree_ - 1}; }

  /// Adds to the length of an element and of all around it. All starts must have been moved.
  void Grow(ElementId element, Length distance) noexcept;

  /// From the start tag to the end tag, of an element.
  [[nodiscard]] Length LengthOf(ElementId element) const noexcept {
    const ElementRecord& record = At(element);
    if (growth_ == Length::kZero) {
      return record.length;
    }
    if (At(grown_).start > record.start) {
      MoveGrowthUp(record.start);
    }
    return element == grown_ ? record.length + growth_ : record.length;
  }
  [[nodiscard]] Offset EndOf(ElementId element) const noexcept {
    return At(element).start + LengthOf(element);
  }

  /// What follows a record in the order of the text: its first child or what `After` gives.
  [[nodiscard]] ElementId Following(ElementId element) const noexcept {
    const ElementRecord& record = At(element);
    return record.firstChild != ElementId::kNone ? record.firstChild : After(element);
  }

  /// Moves a record, if there is one, and all that follow it in the order of the text.
  void MoveStarts(ElementId first, Length distance) noexcept;

  /// The first record that begins after the end of this one, or kNone.
  [[nodiscard]] ElementId After(ElementId element) const noexcept {
    // At the end of a document, where most is added, there is nothing to go up for.
    const bool isLast = element == ElementId::kDocument || At(last_).start < EndOf(element);
    return isLast ? ElementId::kNone : NextAbove(element);
  }

 private:
  // All ones say "see the table".
  static constexpr int kStartBits = 22;
  static constexpr std::uint32_t kStartMask = (1U << kStartBits) - 1;
  static constexpr Length kMaxStart{(1 << kStartBits) - 1};
  static constexpr Length kMaxEnd{(1 << (32 - kStartBits)) - 1};

  static constexpr std::uint32_t Pack(TagLengths lengths) noexcept {
    return static_cast<std::uint32_t>(lengths.start) | static_cast<std::uint32_t>(lengths.end)
                                                           << kStartBits;
  }

  /// As the public `Following`, while some starts have been moved and others not.
  [[nodiscard]] ElementId Following(const ElementRecord& record) const noexcept {
    if (record.firstChild != ElementId::kNone) {
      return record.firstChild;
    }
    return record.nextSibling != ElementId::kNone ? record.nextSibling : NextAbove(record.parent);
  }

  /// The next sibling of a record or of the innermost one around it that has any, or kNone.
  [[nodiscard]] ElementId NextAbove(ElementId element) const noexcept {
    while (element != ElementId::kDocument && At(element).nextSibling == ElementId::kNone) {
      element = At(element).parent;
    }
    return element != ElementId::kDocument ? At(element).nextSibling : ElementId::kNone;
  }

  [[nodiscard]] ElementId LastLeaf(ElementId element) const noexcept {
    while (At(element).lastChild != ElementId::kNone) {
      element = At(element).lastChild;
    }
    return element;
  }

  /// Moves the sum up until it is for an element that begins at `start` or before: then it concerns
  /// no element that begins there or later, but this one.
  void MoveGrowthUp(Offset start) const noexcept;

  [[nodiscard]] TagLengths GetLongTagLengths(ElementId element) const noexcept;
  void SetLongTagLengths(ElementId element, TagLengths lengths);

  /// Makes sure that `Take` works that many times.
  void Reserve(std::size_t count);

  /// A deleted record, or one after all others. Its fields are not set.
  [[nodiscard]] ElementId Take() noexcept;

  /// Puts a record into the list of deleted ones.
  void Release(ElementId element) noexcept;

  void AddPages(std::size_t records);
  void ResizeLastPage(std::size_t records);

  using Page = std::unique_ptr<ElementRecord[]>;

  std::vector<Page> pages_;  // all full but the last, which grows
  std::size_t capacity_ = 0;
  std::int32_t nextFree_ = 1;
  ElementId last_ = ElementId::kNone;  // in the order of the text
  // Asking for a length moves them: one thread at a time uses a document.
  mutable ElementId grown_ = ElementId::kNone;  // kNone when there is no growth
  mutable Length growth_ = Length::kZero;
  ElementId firstDeleted_ = ElementId::kNone;  // linked by nextSibling
  std::size_t deletedCount_ = 0;
  std::map<ElementId, TagLengths> longTags_;
};

inline UnlinkedTree::~UnlinkedTree() {
  if (root_ != ElementId::kNone) {
    index_->ReleaseTree(root_);
  }
}

}  // namespace Velta::Xml
