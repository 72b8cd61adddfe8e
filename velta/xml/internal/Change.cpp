// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Change.h"

#include "velta/xml/internal/Parser.h"

#include <utility>

namespace Velta::Xml {
namespace {

// What stands for an element while there is no index.
constexpr std::int32_t kNowhere = -1;
constexpr std::int32_t kTop = -2;

}  // namespace

bool Change::Prepare() const {
  const std::size_t length =
      state.text.size() - static_cast<std::size_t>(end - begin) + state.scratch.size();
  if (length > kMaxTextLength) return false;
  if (length > state.text.capacity()) {
    MString larger;
    larger.reserve(length + length / 2 + 128);
    larger.assign(state.text);
    state.text = std::move(larger);
  }
  return true;
}

void Change::Apply() const noexcept {
  ReplaceText();
  const std::int32_t distance = Distance();
  if (distance == 0) return;
  ElementIndex& index = state.index;
  index.MoveStarts(firstBehind, distance);
  for (std::int32_t element = parent; element != 0; element = index.At(element).parent) {
    index.At(element).length += distance;
  }
  index.At(0).length += distance;
}

void Change::ApplyAndRead() const {
  Position& position = state.position;
  std::int32_t* const held[] = {&position.parent, &position.current, &position.child,
                                &position.precedingElement};
  for (std::int32_t* const element : held) *element = NewStartOf(*element);
  state.saved.ForEach([this](SavedPosition& entry) {
    entry.element = entry.element != 0 ? NewStartOf(entry.element) : kTop;
  });

  ReplaceText();
  state.errors.RepeatParse();
  try {
    state.Parse();
  } catch (...) {
    state.BecomeEmpty();
    throw;
  }

  for (std::int32_t* const element : held) *element = state.index.FindStart(*element);
  state.saved.ForEach([this](SavedPosition& entry) {
    if (entry.element != kTop) {
      const std::int32_t element = state.index.FindStart(entry.element);
      entry.element = element != 0 ? element : kNowhere;
    } else {
      entry.element = 0;
    }
  });
  state.saved.DropIf([](const SavedPosition& entry) { return entry.element == kNowhere; });
}

void Change::ReplaceText() const noexcept {
  state.text.replace(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin),
                     state.scratch);
}

std::int32_t Change::NewStartOf(std::int32_t element) const noexcept {
  if (element == 0) return kNowhere;
  const std::int32_t start = state.index.At(element).start;
  if (start >= end) return start + Distance();
  return start < begin ? start : kNowhere;
}

}  // namespace Velta::Xml
