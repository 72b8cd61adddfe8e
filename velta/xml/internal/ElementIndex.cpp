// SPDX-License-Identifier: MIT
#include "velta/xml/internal/ElementIndex.h"

#include <algorithm>

namespace Velta::Xml {
namespace {

constexpr std::size_t kSmallestPage = 8;

}  // namespace

ElementIndex::ElementIndex() { Reset(kSmallestPage); }

void ElementIndex::Reset(std::size_t expected) {
  const std::size_t wanted = (std::min)((std::max)(expected, kSmallestPage), kPageSize);
  Page first(new ElementRecord[wanted]);
  pages.reserve(expected / kPageSize + 1);
  pages.resize(1);
  pages.front() = std::move(first);
  capacity = wanted;
  Clear();
}

void ElementIndex::Clear() noexcept {
  if (pages.size() > 1) {
    pages.resize(1);
    capacity = kPageSize;
  }
  nextFree = 1;
  firstDeleted = 0;
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
    if (more >= count) return;
    missing = count - more;
  }
  while (missing != 0) {
    const std::size_t records = (std::min)(missing, kPageSize);
    pages.emplace_back(new ElementRecord[records]);
    capacity += records;
    missing -= records;
  }
}

void ElementIndex::ResizeLastPage(std::size_t records) {
  Page larger(new ElementRecord[records]);
  const auto firstIndex = (pages.size() - 1) * kPageSize;
  std::copy_n(pages.back().get(), static_cast<std::size_t>(nextFree) - firstIndex, larger.get());
  pages.back() = std::move(larger);
}

void ElementIndex::ReserveOne() {
  // Where one is added, more will be: twice as many, as long as the records have to be copied.
  if (firstDeleted == 0 && Room() == 0) Extend((std::min)(capacity, kPageSize));
}

std::int32_t ElementIndex::Take() noexcept {
  if (firstDeleted == 0) return Append();
  const std::int32_t index = firstDeleted;
  firstDeleted = At(index).nextSibling;
  return index;
}

void ElementIndex::Release(std::int32_t index) noexcept {
  longTags.erase(index);
  ElementRecord& record = At(index);
  record = ElementRecord{};
  record.flags = kDeleted;
  record.nextSibling = firstDeleted;
  firstDeleted = index;
}

void ElementIndex::ReleaseTree(std::int32_t root) noexcept {
  const auto firstLeaf = [this](std::int32_t index) {
    while (At(index).firstChild != 0) index = At(index).firstChild;
    return index;
  };
  // Children before their parents: what has been released has no links left.
  std::int32_t index = firstLeaf(root);
  while (index != root) {
    const std::int32_t next = At(index).nextSibling;
    const std::int32_t parent = At(index).parent;
    Release(index);
    index = next != 0 ? firstLeaf(next) : parent;
  }
  Release(root);
}

std::int32_t ElementIndex::AppendTree(const ElementIndex& other, std::int32_t distance) {
  const std::int32_t count = other.nextFree - 1;
  if (Room() < static_cast<std::size_t>(count)) Extend(static_cast<std::size_t>(count) - Room());
  const std::int32_t shift = nextFree - 1;
  try {
    for (const auto& [index, lengths] : other.longTags) longTags.emplace(index + shift, lengths);
  } catch (...) {
    longTags.erase(longTags.lower_bound(nextFree), longTags.end());
    throw;
  }
  for (std::int32_t index = 1; index <= count; ++index) {
    ElementRecord& record = At(Append());
    record = other.At(index);
    record.start += distance;
    for (std::int32_t* const link : {&record.parent, &record.firstChild, &record.nextSibling,
                                     &record.previousSibling, &record.lastChild}) {
      if (*link != 0) *link += shift;
    }
  }
  return shift + 1;
}

std::int32_t ElementIndex::FindStart(std::int32_t start) const noexcept {
  std::int32_t low = 1;
  std::int32_t high = nextFree;
  while (low < high) {
    const std::int32_t middle = low + (high - low) / 2;
    if (At(middle).start < start) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low < nextFree && At(low).start == start ? low : 0;
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
}

void ElementIndex::Unlink(std::int32_t index) noexcept {
  const ElementRecord& record = At(index);
  ElementRecord& above = At(record.parent);
  (record.previousSibling != 0 ? At(record.previousSibling).nextSibling : above.firstChild) =
      record.nextSibling;
  (record.nextSibling != 0 ? At(record.nextSibling).previousSibling : above.lastChild) =
      record.previousSibling;
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
