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
  pages_.resize(1);
  pages_.front() = std::move(first);
  capacity_ = inFirst;
  Clear();
  AddPages(wanted - inFirst);
}

void ElementIndex::Clear() noexcept {
  if (pages_.size() > 1) {
    pages_.resize(1);
    capacity_ = kPageSize;
  }
  nextFree_ = 1;
  last_ = ElementId::kNone;
  grown_ = ElementId::kNone;
  growth_ = Length::kZero;
  firstDeleted_ = ElementId::kNone;
  deletedCount_ = 0;
  longTags_.clear();
  At(ElementId::kDocument) = ElementRecord{};
}

void ElementIndex::Extend(std::size_t count) {
  // A fifth at least: what is unused stays a small part of what is there.
  std::size_t missing = (std::max)(count, capacity_ / 5 + kSmallestPage);
  const std::size_t lastPage = capacity_ - (pages_.size() - 1) * kPageSize;
  if (lastPage < kPageSize) {
    const std::size_t more = (std::min)(missing, kPageSize - lastPage);
    ResizeLastPage(lastPage + more);
    capacity_ += more;
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
    pages_.push_back(std::move(page));
    capacity_ += inPage;
    records -= inPage;
  }
}

void ElementIndex::ResizeLastPage(std::size_t records) {
  Page larger(new ElementRecord[records]);
  // What is free may begin in the page before.
  const std::size_t firstInPage = (pages_.size() - 1) * kPageSize;
  const auto used = (std::max)(static_cast<std::size_t>(nextFree_), firstInPage) - firstInPage;
  std::copy_n(pages_.back().get(), used, larger.get());
  pages_.back() = std::move(larger);
}

void ElementIndex::Reserve(std::size_t count) {
  const std::size_t available = deletedCount_ + Room();
  if (available >= count) {
    return;
  }
  // Where some are added, more will be: twice as many, as long as the records have to be copied.
  Extend((std::max)(count - available, (std::min)(capacity_, kPageSize)));
}

ElementId ElementIndex::Take() noexcept {
  if (firstDeleted_ == ElementId::kNone) {
    return Append();
  }
  const ElementId element = firstDeleted_;
  VELTA_ASSERT(At(element).Has(kDeleted) && deletedCount_ != 0);
  firstDeleted_ = At(element).nextSibling;
  --deletedCount_;
  return element;
}

void ElementIndex::Release(ElementId element) noexcept {
  VELTA_ASSERT(element != ElementId::kDocument && !At(element).Has(kDeleted));
  longTags_.erase(element);
  ElementRecord& record = At(element);
  record = ElementRecord{};
  record.flags = kDeleted;
  record.nextSibling = firstDeleted_;
  firstDeleted_ = element;
  ++deletedCount_;
}

void ElementIndex::ReleaseTree(ElementId root) noexcept {
  MoveGrowthUp(At(root).start - Length{1});  // out of it
  // Children before their parents: what has been released has no links left. The last ones first:
  // what is taken again comes in the order of the text.
  ElementId element = LastLeaf(root);
  while (element != root) {
    const ElementId previous = At(element).previousSibling;
    const ElementId parent = At(element).parent;
    Release(element);
    element = previous != ElementId::kNone ? LastLeaf(previous) : parent;
  }
  Release(root);
}

UnlinkedTree ElementIndex::TakeElement(Offset start, Length length, TagLengths tags,
                                       std::int32_t flags) {
  Reserve(1);
  UnlinkedTree taken(*this, Take());
  ElementRecord& record = At(taken.Root());
  record = ElementRecord{};
  record.start = start;
  record.length = length;
  record.flags = flags;
  SetTagLengths(taken.Root(), tags);
  return taken;
}

UnlinkedTree ElementIndex::TakeTree(ElementIndex& other, Offset start) {
  Reserve(static_cast<std::size_t>(other.nextFree_) - 1);
  const ElementId otherRoot = other.At(ElementId::kDocument).firstChild;
  const Length distance = start - other.At(otherRoot).start;
  for (std::int32_t number = 1; number < other.nextFree_; ++number) {
    ElementRecord& record = other.At(ElementId{number});
    const ElementId taken = Take();
    At(taken) = record;
    At(taken).start += distance;
    record.parent = taken;  // of the other record: where links to it lead from now on
  }
  const auto takenFor = [&other](ElementId element) { return other.At(element).parent; };
  for (std::int32_t number = 1; number < other.nextFree_; ++number) {
    ElementRecord& record = At(takenFor(ElementId{number}));
    for (ElementId* const link : {&record.parent, &record.firstChild, &record.nextSibling,
                                  &record.previousSibling, &record.lastChild}) {
      if (*link != ElementId::kNone) {
        *link = takenFor(*link);
      }
    }
  }
  UnlinkedTree tree(*this, takenFor(otherRoot));
  for (const auto& [element, lengths] : other.longTags_) {
    longTags_.emplace(takenFor(element), lengths);
  }
  return tree;
}

void ElementIndex::WrapRoot(TagLengths tags) {
  constexpr Length kLineFeed{1};
  const ElementId root = At(ElementId::kDocument).firstChild;
  const Offset start = At(root).start - kLineFeed - tags.start;
  const Length length = tags.start + kLineFeed + At(root).length + kLineFeed + tags.end;
  const ElementId element = TakeElement(start, length, tags, 0).Release();
  Unlink(root);
  Link(element, ElementId::kDocument, ElementId::kNone);
  Link(root, element, ElementId::kNone);
}

ElementId ElementIndex::FindStart(Offset start) const noexcept {
  const std::int32_t next = ToInt(LastBefore(start)) + 1;
  return next < nextFree_ && At(ElementId{next}).start == start ? ElementId{next}
                                                                : ElementId::kNone;
}

ElementId ElementIndex::LastBefore(Offset offset) const noexcept {
  VELTA_ASSERT(deletedCount_ == 0 && ToInt(last_) == nextFree_ - 1);  // in the order of the text
  std::int32_t low = 1;
  std::int32_t high = nextFree_;
  while (low < high) {
    const std::int32_t middle = low + (high - low) / 2;
    if (At(ElementId{middle}).start < offset) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return ElementId{low - 1};
}

TagLengths ElementIndex::GetLongTagLengths(ElementId element) const noexcept {
  const auto entry = longTags_.find(element);
  VELTA_ASSERT(entry != longTags_.end());
  return entry->second;
}

void ElementIndex::SetLongTagLengths(ElementId element, TagLengths lengths) {
  if (lengths.start < kMaxStart && lengths.end < kMaxEnd) {
    longTags_.erase(element);
  } else {
    longTags_.insert_or_assign(element, lengths);
    lengths = {(std::min)(lengths.start, kMaxStart), (std::min)(lengths.end, kMaxEnd)};
  }
  At(element).tagLengths = Pack(lengths);
}

void ElementIndex::Link(ElementId element, ElementId parent, ElementId previous) noexcept {
  VELTA_ASSERT(previous == ElementId::kNone || At(previous).parent == parent);
  ElementRecord& record = At(element);
  ElementRecord& above = At(parent);
  const ElementId next = previous != ElementId::kNone ? At(previous).nextSibling : above.firstChild;
  record.parent = parent;
  record.previousSibling = previous;
  record.nextSibling = next;
  (previous != ElementId::kNone ? At(previous).nextSibling : above.firstChild) = element;
  (next != ElementId::kNone ? At(next).previousSibling : above.lastChild) = element;
  if (last_ == ElementId::kNone || At(last_).start < record.start) {
    last_ = LastLeaf(element);
  }
}

void ElementIndex::Unlink(ElementId element) noexcept {
  const ElementRecord& record = At(element);
  const bool hasPrevious = record.previousSibling != ElementId::kNone;
  if (At(last_).start < EndOf(element)) {
    last_ = hasPrevious ? LastLeaf(record.previousSibling) : record.parent;
  }
  ElementRecord& above = At(record.parent);
  (hasPrevious ? At(record.previousSibling).nextSibling : above.firstChild) = record.nextSibling;
  (record.nextSibling != ElementId::kNone ? At(record.nextSibling).previousSibling
                                          : above.lastChild) = record.previousSibling;
}

void ElementIndex::Grow(ElementId element, Length distance) noexcept {
  At(ElementId::kDocument).length += distance;
  if (element == ElementId::kDocument) {
    return;
  }
  if (growth_ != Length::kZero && grown_ != element) {
    ElementRecord& record = At(element);
    MoveGrowthUp(record.start);
    if (grown_ != ElementId::kNone && record.parent == grown_) {
      record.length -= growth_;
    } else if (grown_ != element) {
      MoveGrowthUp(Offset::kNowhere);
    }
  }
  grown_ = element;
  growth_ += distance;
  if (growth_ == Length::kZero) {
    grown_ = ElementId::kNone;
  }
}

void ElementIndex::MoveGrowthUp(Offset start) const noexcept {
  while (grown_ != ElementId::kNone && At(grown_).start > start) {
    ElementRecord& record = const_cast<ElementIndex*>(this)->At(grown_);
    record.length += growth_;
    grown_ = record.parent;
  }
  if (grown_ == ElementId::kNone) {
    growth_ = Length::kZero;
  }
}

void ElementIndex::MoveStarts(ElementId first, Length distance) noexcept {
  std::int32_t number = ToInt(first);
  while (number != ToInt(ElementId::kNone)) {
    // What follows is mostly the neighbour in the page. Going on to that one, and checking only
    // then whether it was right, does not wait for one link after the other.
    ElementRecord* record = &At(ElementId{number});
    std::int32_t following = 0;
    bool isNeighbour = true;
    for (; isNeighbour; ++record) {
      record->start += distance;
      following = ToInt(Following(*record));
      ++number;
      isNeighbour = following == number && static_cast<std::size_t>(number) % kPageSize != 0;
    }
    number = following;
  }
}

}  // namespace Velta::Xml
