// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace Velta::Xml {

/// Where one element is in the text, and its neighbours. Index 0 in a link is "none".
struct ElementRecord {
  std::int32_t start;        // of the start tag
  std::int32_t length;       // start tag to end tag, as ElementIndex::LengthOf gives it
  std::uint32_t tagLengths;  // start tag's and end tag's, packed: see ElementIndex
  std::int32_t flags;
  std::int32_t parent;
  std::int32_t firstChild;
  std::int32_t nextSibling;
  std::int32_t previousSibling;
  std::int32_t lastChild;  // so that appending does not walk the children

  [[nodiscard]] bool Has(std::int32_t flag) const noexcept { return (flags & flag) != 0; }
};

inline constexpr std::int32_t kEmptyTag = 0x10000;
inline constexpr std::int32_t kEndNotFound = 0x100000;
inline constexpr std::int32_t kNotEndedProperly = 0x200000;
inline constexpr std::int32_t kDeleted = 0x400000;
inline constexpr std::int32_t kIllFormed = 0x800000;  // on record 0

struct TagLengths {
  std::int32_t start;
  std::int32_t end;
};

/// The element records of a document, in pages. Record 0 stands for the document and always exists.
///
/// An edit lengthens every element around its place. So that one deep inside does not go all the
/// way up, the index keeps one sum, `growth`: what the element `grown` and all around it are longer
/// by than their records say. The next edit in that element adds to the sum. One in its parent or
/// in a child moves the sum there first: up, by adding it to the record that is left; into a child,
/// by taking it out of the child's record. Only an edit elsewhere adds it to all the records it is
/// for. So a writer, who goes from group to group by single steps, pays one step for each.
class ElementIndex {
 public:
  static constexpr std::size_t kPageSize = 65536;

  ElementIndex();

  /// Drops all records but 0 and makes room for `expected` in all.
  void Reset(std::size_t expected);

  /// The same without asking for memory.
  void Clear() noexcept;

  [[nodiscard]] ElementRecord& At(std::int32_t index) noexcept {
    const auto position = static_cast<std::uint32_t>(index);
    return pages[position >> 16][position & 0xFFFF];
  }
  [[nodiscard]] const ElementRecord& At(std::int32_t index) const noexcept {
    return const_cast<ElementIndex*>(this)->At(index);
  }

  /// The index that the next new record gets.
  [[nodiscard]] std::int32_t NextFree() const noexcept { return nextFree; }

  /// How many records can be appended without asking for memory.
  [[nodiscard]] std::size_t Room() const noexcept {
    return capacity - static_cast<std::size_t>(nextFree);
  }

  /// Makes room for `count` more records at least; not less than a part of those that are there, so
  /// that n appended ones cost O(n).
  void Extend(std::size_t count);

  /// A record behind all others. There must be room. Its fields are not set.
  [[nodiscard]] std::int32_t Append() noexcept { return nextFree++; }

  /// Makes sure that `Take` works that many times.
  void Reserve(std::size_t count);

  /// A deleted record, or one behind all others. Its fields are not set.
  [[nodiscard]] std::int32_t Take() noexcept;

  /// Puts a record into the list of deleted ones.
  void Release(std::int32_t index) noexcept;

  /// Puts an element and all below it there. Nothing may link to it any more.
  void ReleaseTree(std::int32_t root) noexcept;

  /// Takes records for all of a document that is well formed and has just been read, and uses up
  /// its own.
  ///
  /// @param offset  where its root begins in this text
  /// @return the record of its root, which is not linked to anything. None is taken when it throws
  [[nodiscard]] std::int32_t TakeTree(ElementIndex& other, std::int32_t offset);

  /// In an index that has been read just now: the element that begins at `start`, or 0.
  [[nodiscard]] std::int32_t FindStart(std::int32_t start) const noexcept;

  /// Likewise: the last element that begins before `offset`, or 0.
  [[nodiscard]] std::int32_t LastBefore(std::int32_t offset) const noexcept;

  [[nodiscard]] TagLengths GetTagLengths(std::int32_t index) const noexcept {
    const std::uint32_t packed = At(index).tagLengths;
    const TagLengths lengths{static_cast<std::int32_t>(packed & kMaxStart),
                             static_cast<std::int32_t>(packed >> kStartBits)};
    if (lengths.start != kMaxStart && lengths.end != kMaxEnd) {
      return lengths;
    }
    return longTags.find(index)->second;
  }

  /// Lengths that the packed field cannot hold are kept in a table beside it. Unchanged when it
  /// throws.
  void SetTagLengths(std::int32_t index, TagLengths lengths) {
    if (lengths.start < kMaxStart && lengths.end < kMaxEnd && longTags.empty()) {
      At(index).tagLengths = Pack(lengths);
    } else {
      SetLongTagLengths(index, lengths);
    }
  }

  /// Adds the end tag's length to a record that has none yet.
  void SetEndTagLength(std::int32_t index, std::int32_t length) {
    if (length < kMaxEnd && longTags.empty()) {
      At(index).tagLengths |= static_cast<std::uint32_t>(length) << kStartBits;
    } else {
      SetLongTagLengths(index, {GetTagLengths(index).start, length});
    }
  }

  /// Puts a record behind a sibling, or with 0 before all children, and links it to its parent.
  void Link(std::int32_t index, std::int32_t parent, std::int32_t previous) noexcept;
  void Unlink(std::int32_t index) noexcept;

  /// To be called when a parse has appended the last record.
  void EndParse() noexcept { last = nextFree - 1; }

  /// Adds to the length of an element and of all around it. All starts must have been moved.
  void Grow(std::int32_t index, std::int32_t distance) noexcept;

  /// From the start tag to the end tag, of an element.
  [[nodiscard]] std::int32_t LengthOf(std::int32_t index) const noexcept {
    const ElementRecord& record = At(index);
    if (growth == 0) {
      return record.length;
    }
    if (At(grown).start > record.start) {
      MoveGrowthUp(record.start);
    }
    return record.length + (index == grown ? growth : 0);
  }
  [[nodiscard]] std::int32_t EndOf(std::int32_t index) const noexcept {
    return At(index).start + LengthOf(index);
  }

  /// What follows a record in the order of the text: its first child or what `Behind` gives.
  [[nodiscard]] std::int32_t Following(std::int32_t index) const noexcept {
    const ElementRecord& record = At(index);
    return record.firstChild != 0 ? record.firstChild : Behind(index);
  }

  /// Moves a record and all that follow it in the order of the text; 0 is none.
  void MoveStarts(std::int32_t first, std::int32_t distance) noexcept;

  /// The first record that begins behind all of this one, or 0.
  [[nodiscard]] std::int32_t Behind(std::int32_t index) const noexcept {
    // At the end of a document, where most is added, there is nothing to go up for.
    return index == 0 || At(last).start < EndOf(index) ? 0 : NextAbove(index);
  }

 private:
  // All ones say "see the table".
  static constexpr int kStartBits = 22;
  static constexpr std::int32_t kMaxStart = (1 << kStartBits) - 1;
  static constexpr std::int32_t kMaxEnd = (1 << (32 - kStartBits)) - 1;

  static constexpr std::uint32_t Pack(TagLengths lengths) noexcept {
    return static_cast<std::uint32_t>(lengths.start) | static_cast<std::uint32_t>(lengths.end)
                                                           << kStartBits;
  }

  /// As `Following`, while some starts have been moved and others not.
  [[nodiscard]] std::int32_t Following(const ElementRecord& record) const noexcept {
    if (record.firstChild != 0) {
      return record.firstChild;
    }
    return record.nextSibling != 0 ? record.nextSibling : NextAbove(record.parent);
  }

  /// The next sibling of a record or of the innermost one around it that has any, or 0.
  [[nodiscard]] std::int32_t NextAbove(std::int32_t index) const noexcept {
    while (index != 0 && At(index).nextSibling == 0) {
      index = At(index).parent;
    }
    return index != 0 ? At(index).nextSibling : 0;
  }

  [[nodiscard]] std::int32_t LastLeaf(std::int32_t index) const noexcept {
    while (At(index).lastChild != 0) {
      index = At(index).lastChild;
    }
    return index;
  }

  /// Moves the sum up until it is for an element that begins at `start` or before: then no element
  /// that begins there or later, but this one, is concerned.
  void MoveGrowthUp(std::int32_t start) const noexcept;

  void SetLongTagLengths(std::int32_t index, TagLengths lengths);
  void AddPages(std::size_t records);
  void ResizeLastPage(std::size_t records);

  using Page = std::unique_ptr<ElementRecord[]>;

  std::vector<Page> pages;  // all full but the last, which grows
  std::size_t capacity = 0;
  std::int32_t nextFree = 1;
  std::int32_t last = 0;  // in the order of the text; 0 when there are no elements
  // Asking for a length moves them: one thread at a time uses a document.
  mutable std::int32_t grown = 0;  // 0 when there is no growth
  mutable std::int32_t growth = 0;
  std::int32_t firstDeleted = 0;  // linked by nextSibling
  std::size_t deletedCount = 0;
  std::map<std::int32_t, TagLengths> longTags;
};

}  // namespace Velta::Xml
