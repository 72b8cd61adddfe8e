// SPDX-License-Identifier: MIT
#include "velta/xml/internal/ElementIndex.h"

#include <algorithm>
#include <utility>

namespace Velta::Xml {
namespace {

constexpr std::size_t kSmallestPage = 8;

}  // namespace

ElementIndex::ElementIndex() { Reset(kSmallestPage); }

void ElementIndex::Reset(std::size_t expected) {
  const std::size_t wanted = (std::max)(expected, kSmallestPage);
  const std::size_t inFirst = (std::min)(wanted, kPageSize);
  Page first(new ElementRecord[inFirst]);
  pages.resize(1);
  pages.front() = std::move(first);
  capacity = inFirst;
  Clear();
  AddPages(wanted - inFirst);
}

void ElementIndex::Clear() noexcept {
  if (pages.size() > 1) {
    pages.resize(1);
    capacity = kPageSize;
  }
  nextFree = 1;
  last = 0;
  grown = growth = 0;
  firstDeleted = 0;
  deletedCount = 0;
  longTags.clear();
  At(0) = ElementRecord{};
}

void ElementIndex::Extend(std::size_t count) {
  // A fifth at least: what is unused stays a small part of what is there.
  std::size_t missing = (std::max)(count, capacity / 5 + kSmallestPage);
  const std::size_t lastPage = capacity - (pages.size() - 1) * kPageSize;
  if (lastPage < kPageSize) {
    const std::size_t more = (std::min)(missing, kPageSize - lastPage);
    ResizeLastPage(lastPage + more);
    capacity += more;
    if (more >= count) {
      return;
    }
    missing = count - more;
  }
  AddPages(missing);
}

void ElementIndex::AddPages(std::size_t records) {
  while (records != 0) {
    const std::size_t inPage = (std::min)(records, kPageSize);
    Page page(new ElementRecord[inPage]);
    pages.push_back(std::move(page));
    capacity += inPage;
    records -= inPage;
  }
}

void ElementIndex::ResizeLastPage(std::size_t records) {
  Page larger(new ElementRecord[records]);
  // What is free may begin in the page before.
  const std::size_t firstIndex = (pages.size() - 1) * kPageSize;
  const auto used = (std::max)(static_cast<std::size_t>(nextFree), firstIndex) - firstIndex;
  std::copy_n(pages.back().get(), used, larger.get());
  pages.back() = std::move(larger);
}

void ElementIndex::Reserve(std::size_t count) {
  const std::size_t available = deletedCount + Room();
  if (available >= count) {
    return;
  }
  // Where some are added, more will be: twice as many, as long as the records have to be copied.
  Extend((std::max)(count - available, (std::min)(capacity, kPageSize)));
}

std::int32_t ElementIndex::Take() noexcept {
  if (firstDeleted == 0) {
    return Append();
  }
  const std::int32_t index = firstDeleted;
  firstDeleted = At(index).nextSibling;
  --deletedCount;
  return index;
}

void ElementIndex::Release(std::int32_t index) noexcept {
  longTags.erase(index);
  ElementRecord& record = At(index);
  record = ElementRecord{};
  record.flags = kDeleted;
  record.nextSibling = firstDeleted;
  firstDeleted = index;
  ++deletedCount;
}

void ElementIndex::ReleaseTree(std::int32_t root) noexcept {
  MoveGrowthUp(At(root).start - 1);  // out of it
  // Children before their parents: what has been released has no links left. The last ones first:
  // what is taken again comes in the order of the text.
  std::int32_t index = LastLeaf(root);
  while (index != root) {
    const std::int32_t previous = At(index).previousSibling;
    const std::int32_t parent = At(index).parent;
    Release(index);
    index = previous != 0 ? LastLeaf(previous) : parent;
  }
  Release(root);
}

std::int32_t ElementIndex::TakeTree(ElementIndex& other, std::int32_t offset) {
  Reserve(static_cast<std::size_t>(other.nextFree) - 1);
  const std::int32_t root = other.At(0).firstChild;
  const std::int32_t distance = offset - other.At(root).start;
  for (std::int32_t index = 1; index < other.nextFree; ++index) {
    const std::int32_t taken = Take();
    At(taken) = other.At(index);
    At(taken).start += distance;
    other.At(index).start = taken;  // where the links lead from now on
  }
  const auto takenFor = [&other](std::int32_t index) { return other.At(index).start; };
  for (std::int32_t index = 1; index < other.nextFree; ++index) {
    ElementRecord& record = At(takenFor(index));
    for (std::int32_t* const link : {&record.parent, &record.firstChild, &record.nextSibling,
                                     &record.previousSibling, &record.lastChild}) {
      if (*link != 0) {
        *link = takenFor(*link);
      }
    }
  }
  try {
    for (const auto& [index, lengths] : other.longTags) {
      longTags.emplace(takenFor(index), lengths);
    }
  } catch (...) {
    ReleaseTree(takenFor(root));
    throw;
  }
  return takenFor(root);
}

std::int32_t ElementIndex::FindStart(std::int32_t start) const noexcept {
  const std::int32_t index = LastBefore(start) + 1;
  return index < nextFree && At(index).start == start ? index : 0;
}

std::int32_t ElementIndex::LastBefore(std::int32_t offset) const noexcept {
  std::int32_t low = 1;
  std::int32_t high = nextFree;
  while (low < high) {
    const std::int32_t middle = low + (high - low) / 2;
    if (At(middle).start < offset) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low - 1;
}

void ElementIndex::SetLongTagLengths(std::int32_t index, TagLengths lengths) {
  if (lengths.start < kMaxStart && lengths.end < kMaxEnd) {
    longTags.erase(index);
  } else {
    longTags.insert_or_assign(index, lengths);
    lengths = {(std::min)(lengths.start, kMaxStart), (std::min)(lengths.end, kMaxEnd)};
  }
  At(index).tagLengths = Pack(lengths);
}

void ElementIndex::Link(std::int32_t index, std::int32_t parent, std::int32_t previous) noexcept {
  ElementRecord& record = At(index);
  ElementRecord& above = At(parent);
  const std::int32_t next = previous != 0 ? At(previous).nextSibling : above.firstChild;
  record.parent = parent;
  record.previousSibling = previous;
  record.nextSibling = next;
  (previous != 0 ? At(previous).nextSibling : above.firstChild) = index;
  (next != 0 ? At(next).previousSibling : above.lastChild) = index;
  if (last == 0 || At(last).start < record.start) {
    last = LastLeaf(index);
  }
}

void ElementIndex::Unlink(std::int32_t index) noexcept {
  const ElementRecord& record = At(index);
  if (At(last).start < EndOf(index)) {
    last = record.previousSibling != 0 ? LastLeaf(record.previousSibling) : record.parent;
  }
  ElementRecord& above = At(record.parent);
  (record.previousSibling != 0 ? At(record.previousSibling).nextSibling : above.firstChild) =
      record.nextSibling;
  (record.nextSibling != 0 ? At(record.nextSibling).previousSibling : above.lastChild) =
      record.previousSibling;
}

void ElementIndex::Grow(std::int32_t index, std::int32_t distance) noexcept {
  At(0).length += distance;
  if (index == 0) {
    return;
  }
  if (growth != 0 && grown != index) {
    ElementRecord& record = At(index);
    MoveGrowthUp(record.start);
    if (grown != 0 && record.parent == grown) {
      record.length -= growth;
    } else if (grown != index) {
      MoveGrowthUp(-1);
    }
  }
  grown = index;
  growth += distance;
  if (growth == 0) {
    grown = 0;
  }
}

void ElementIndex::MoveGrowthUp(std::int32_t start) const noexcept {
  while (grown != 0 && At(grown).start > start) {
    ElementRecord& record = const_cast<ElementIndex*>(this)->At(grown);
    record.length += growth;
    grown = record.parent;
  }
  if (grown == 0) {
    growth = 0;
  }
}

void ElementIndex::MoveStarts(std::int32_t first, std::int32_t distance) noexcept {
  std::int32_t index = first;
  while (index != 0) {
    // What follows is mostly the neighbour in the page. Going on to that one, and only then looking
    // whether it was right, does not wait for one link after the other.
    ElementRecord* record = &At(index);
    std::int32_t following = 0;
    bool isNeighbour = true;
    for (; isNeighbour; ++record) {
      record->start += distance;
      following = Following(*record);
      ++index;
      isNeighbour = following == index && static_cast<std::size_t>(index) % kPageSize != 0;
    }
    index = following;
  }
}

}  // namespace Velta::Xml
