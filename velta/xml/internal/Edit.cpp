// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Edit.h"

#include "velta/platform/internal/Assert.h"
#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/Parser.h"
#include "velta/xml/internal/Tokenizer.h"

#include <cstddef>
#include <utility>

namespace Velta::Xml {
namespace {

// What stands for an element that is gone.
constexpr ElementId kGone{-1};

/// A line break is what follows each element added: it belongs to the line that ends there.
Offset AfterLineBreak(const DocumentState& state, Offset offset) noexcept {
  const wchar_t* const at = state.text.c_str() + ToInt(offset);
  if (at[0] == L'\r' && at[1] == L'\n') {
    return offset + Length{2};
  }
  return at[0] == L'\n' || at[0] == L'\r' ? offset + Length{1} : offset;
}

Place PlaceAfter(const DocumentState& state, ElementId element) noexcept {
  return {state.index.At(element).parent, element,
          AfterLineBreak(state, state.index.EndOf(element))};
}

Place PlaceAtEnd(const DocumentState& state, ElementId parent) noexcept {
  const ElementRecord& record = state.index.At(parent);
  if (!record.Has(kEmptyTag)) {
    return {parent, record.lastChild, state.ContentEnd(parent)};
  }
  // Before the "/>" and the spaces in front of it, unless another slash would then end the tag.
  const wchar_t* const slash = state.PlaceOf(state.index.EndOf(parent)) - 2;
  const wchar_t* at = slash;
  while (IsSpace(at[-1])) {
    --at;
  }
  if (at[-1] == L'/') {
    at = slash;
  }
  return {parent, ElementId::kNone, state.OffsetOf(at)};
}

/// The first element after a place on a level: after `previous`, or with kNone in `parent`.
ElementId FollowingOnLevel(const ElementIndex& index, ElementId parent,
                           ElementId previous) noexcept {
  return previous != ElementId::kNone ? index.After(previous) : index.Following(parent);
}

bool IsText(MXmlNodeType type) noexcept {
  return type == MXmlNodeType::kText || type == MXmlNodeType::kWhitespace;
}

/// Whether a node of that type begins at an offset of a text that has just been parsed.
bool HasNode(const MString& text, const ElementIndex& index, MXmlNodeType type, Offset offset) {
  if (type == MXmlNodeType::kNone) {
    return true;
  }
  if (type == MXmlNodeType::kElement) {
    return index.FindStart(offset) != ElementId::kNone;
  }
  const ElementId before = index.LastBefore(offset);
  const wchar_t* const place = text.data() + ToInt(offset);
  Tokenizer tokenizer(text, nullptr);
  tokenizer.MoveTo(before != ElementId::kNone
                       ? index.At(before).start + index.GetTagLengths(before).start
                       : Offset::kBegin);
  for (;;) {
    const Token token = tokenizer.Next();
    if (token.type == TokenType::kEndOfText || token.begin > place) {
      return false;
    }
    const auto found = static_cast<MXmlNodeType>(token.type);
    if (token.begin == place && found == type) {
      return true;
    }
    // A text is one with what stands before it.
    if (token.end > place) {
      return IsText(found) && IsText(type);
    }
  }
}

/// In the index of a text that has just been parsed: where a node at an offset is.
Place PlaceOfNode(const ElementIndex& index, Offset offset) noexcept {
  Place place{index.LastBefore(offset), ElementId::kNone, offset};
  while (place.parent != ElementId::kDocument && index.EndOf(place.parent) <= offset) {
    place.previous = place.parent;
    place.parent = index.At(place.parent).parent;
  }
  return place;
}

/// A part of a text, replaced until the end of the scope, unless `Keep` was called.
class Replacement {
 public:
  Replacement(MString& text, Span replaced, const MString& by)
      : text_(text),
        begin_(static_cast<std::size_t>(replaced.begin)),
        length_(by.size()),
        before_(text, begin_, static_cast<std::size_t>(replaced.Size())) {
    text_.replace(begin_, before_.size(), by);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (!isKept_) {
      text_.replace(begin_, length_, before_);
    }
  }

  void Keep() noexcept { isKept_ = true; }

 private:
  MString& text_;
  const std::size_t begin_;
  const std::size_t length_;
  const MString before_;
  bool isKept_ = false;
};

}  // namespace

Place PlaceAfterCurrent(const DocumentState& state) noexcept {
  const Position& position = state.position;
  if (position.IsOnNode()) {
    return {position.parent, position.precedingElement, AfterLineBreak(state, position.NodeEnd())};
  }
  return position.current != ElementId::kNone ? PlaceAfter(state, position.current)
                                              : PlaceAtEnd(state, position.parent);
}

Place PlaceInCurrent(const DocumentState& state) noexcept {
  const Position& position = state.position;
  return position.child != ElementId::kNone ? PlaceAfter(state, position.child)
                                            : PlaceAtEnd(state, position.current);
}

Edit::Edit(DocumentState& state, const Place& place, Layout layout)
    : state_(state),
      text_(state.editText),
      replaced_{place.offset, state.index.At(place.parent).Has(kEmptyTag)
                                  ? state.index.EndOf(place.parent)
                                  : place.offset},
      around_(place.parent),
      following_(FollowingOnLevel(state.index, place.parent, place.previous)),
      place_(place),
      layout_(layout),
      opensParent_(state.index.At(place.parent).Has(kEmptyTag)) {
  text_.clear();
  if (opensParent_) {
    retagged_ = place.parent;
    text_ += L'>';
  }
  const bool isFirst = place.parent != ElementId::kDocument &&
                       state.ContentBegin(place.parent) == state.ContentEnd(place.parent);
  if (layout == Layout::kOwnLine && isFirst) {
    text_ += L'\n';
  }
  opening_ = text_.size();
}

Edit::Edit(DocumentState& state, Span replaced, ElementId element) noexcept
    : state_(state),
      text_(state.editText),
      replaced_(replaced),
      around_(element != ElementId::kNone ? element : state.position.parent),
      following_(FollowingOnLevel(
          state.index, around_,
          element != ElementId::kNone ? ElementId::kNone : state.position.precedingElement)),
      retagged_(element) {
  text_.clear();
}

Edit::Edit(DocumentState& state, ElementId removed) noexcept
    : state_(state),
      text_(state.editText),
      replaced_{state.index.At(removed).start, AfterLineBreak(state, state.index.EndOf(removed))},
      around_(state.index.At(removed).parent),
      following_(state.index.After(removed)),
      removed_(removed) {
  text_.clear();
}

bool Edit::CommitElement(TagLengths tags, std::int32_t flags, Level level) {
  CloseText();
  const auto takeRecords = [&] {
    return state_.index.TakeElement(NodeStart(), nodeLength_, tags, flags);
  };
  if (!Commit({MXmlNodeType::kElement, NodeStart()}, takeRecords)) {
    return false;
  }
  MoveToAdded(level);
  return true;
}

bool Edit::CommitStartTag(Level level) {
  isOpenElement_ = true;
  return CommitElement({}, 0, level);
}

bool Edit::CommitTree(ElementIndex& tree, Level level) {
  CloseText();
  const auto takeRecords = [&] { return state_.index.TakeTree(tree, NodeStart()); };
  if (!Commit({MXmlNodeType::kElement, NodeStart()}, takeRecords)) {
    return false;
  }
  MoveToAdded(level);
  return true;
}

bool Edit::CommitNode(MXmlNodeType type, Length before) {
  CloseText();
  if (!Commit({type, NodeStart()}, [] { return UnlinkedTree(); })) {
    return false;
  }
  Position position;
  position.parent = place_.parent;
  position.nodeType = type;
  position.nodeOffset = NodeStart() + before;
  position.nodeLength = nodeLength_ - before;
  position.precedingElement = place_.previous;
  state_.position = position;
  return true;
}

bool Edit::CommitTag() {
  const auto takeNone = [] { return UnlinkedTree(); };
  if (retagged_ != ElementId::kNone) {
    return Commit({MXmlNodeType::kElement, state_.index.At(retagged_).start}, takeNone);
  }
  if (!Commit({MXmlNodeType::kProcessingInstruction, state_.position.nodeOffset}, takeNone)) {
    return false;
  }
  state_.position.nodeLength += Growth();
  return true;
}

bool Edit::CommitRemoval() {
  return Commit({MXmlNodeType::kNone, Offset::kBegin}, [] { return UnlinkedTree(); });
}

template <class TakeRecords>
bool Edit::Commit(ExpectedNode expected, TakeRecords takeRecords) {
  if (!MakeRoom()) {
    return false;
  }
  if (state_.IsIllFormed() || isOpenElement_) {
    return CommitByParsing(expected);
  }
  // First all that may fail.
  UnlinkedTree records = takeRecords();
  RetagElement();
  // Nothing fails from here on.
  DropRemoved();
  ReplaceText();
  MoveRecords();
  added_ = records.Release();
  if (added_ != ElementId::kNone) {
    state_.index.Link(added_, place_.parent, place_.previous);
  }
  return true;
}

/// Parses the whole text again. Positions go on naming the elements that are still there.
bool Edit::CommitByParsing(ExpectedNode expected) {
  // Beside those of the document, which are needed: by positions, and if this fails.
  ElementIndex index;
  ErrorText errors = state_.errors.BeforeParse();
  Replacement replacement(state_.text, replaced_, text_);
  Parse(state_.text, state_.IgnoresCase(), index, errors);
  if (!HasNode(state_.text, index, expected.type, expected.offset)) {
    return false;
  }
  replacement.Keep();

  const auto moved = [&](ElementId element) {
    return element != ElementId::kNone ? index.FindStart(NewStartOf(element)) : ElementId::kNone;
  };
  Position position = removed_ != ElementId::kNone ? PositionBeforeRemoved() : state_.position;
  for (ElementId* const element :
       {&position.parent, &position.current, &position.child, &position.precedingElement}) {
    *element = moved(*element);
  }
  state_.position = position;
  state_.saved.ForEach([&](SavedPosition& entry) {
    if (entry.element != ElementId::kDocument) {
      const ElementId element = moved(entry.element);
      entry.element = element != ElementId::kNone ? element : kGone;
    }
  });
  state_.saved.DropIf([](const SavedPosition& entry) { return entry.element == kGone; });
  state_.index = std::move(index);
  state_.errors = std::move(errors);
  added_ = state_.index.FindStart(NodeStart());
  place_ = PlaceOfNode(state_.index, NodeStart());
  return true;
}

void Edit::CloseText() {
  nodeLength_ = LengthFrom(Composed());
  if (layout_ == Layout::kOwnLine) {
    text_ += L'\n';
  }
  if (opensParent_) {
    text_.append(L"</").append(state_.NameOf(place_.parent)).append(1, L'>');
  }
}

/// False when the text would be too long.
bool Edit::MakeRoom() {
  const std::size_t length =
      state_.text.size() - static_cast<std::size_t>(replaced_.Size()) + text_.size();
  if (length > kMaxTextLength) {
    return false;
  }
  if (length > state_.text.capacity()) {
    MString larger;
    larger.reserve(length + length / 2 + 128);
    larger.assign(state_.text);
    state_.text = std::move(larger);
  }
  return true;
}

void Edit::ReplaceText() noexcept {
  const auto replaced = static_cast<std::size_t>(replaced_.Size());
  VELTA_ASSERT(state_.text.size() - replaced + text_.size() <= state_.text.capacity());
  state_.text.replace(static_cast<std::size_t>(replaced_.begin), replaced, text_);
}

/// Changes the tag lengths of the element whose tag is edited. Unchanged when it throws.
void Edit::RetagElement() {
  if (retagged_ == ElementId::kNone) {
    return;
  }
  ElementIndex& index = state_.index;
  TagLengths tags = index.GetTagLengths(retagged_);
  if (opensParent_) {
    tags = {place_.offset - index.At(retagged_).start + Length{1},
            LengthOf(state_.NameOf(retagged_)) + Length{3}};
  } else {
    tags.start += Growth();
  }
  index.SetTagLengths(retagged_, tags);
  if (opensParent_) {
    index.At(retagged_).flags &= ~kEmptyTag;
  }
}

void Edit::DropRemoved() noexcept {
  if (removed_ == ElementId::kNone) {
    return;
  }
  ElementIndex& index = state_.index;
  state_.position = PositionBeforeRemoved();
  index.Unlink(removed_);
  index.ReleaseTree(removed_);
  state_.saved.DropIf(
      [&index](const SavedPosition& entry) { return index.At(entry.element).Has(kDeleted); });
}

void Edit::MoveRecords() noexcept {
  const Length growth = Growth();
  if (growth == Length::kZero) {
    return;
  }
  state_.index.MoveStarts(following_, growth);
  state_.index.Grow(around_, growth);
}

void Edit::MoveToAdded(Level level) noexcept {
  VELTA_ASSERT(added_ != ElementId::kNone);
  const ElementId above = state_.index.At(added_).parent;
  Position position;
  if (level == Level::kChild) {
    position.parent = state_.index.At(above).parent;
    position.current = above;
    position.child = added_;
  } else {
    position.parent = above;
    position.current = added_;
  }
  state_.position = position;
}

Position Edit::PositionBeforeRemoved() const noexcept {
  const ElementRecord& record = state_.index.At(removed_);
  Position position;
  position.parent = record.parent;
  position.current = record.previousSibling;
  return position;
}

Offset Edit::NewStartOf(ElementId element) const noexcept {
  const Offset start = state_.index.At(element).start;
  if (start >= replaced_.end) {
    return start + Growth();
  }
  return start < replaced_.begin ? start : Offset::kNowhere;
}

}  // namespace Velta::Xml
