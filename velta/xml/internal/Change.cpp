// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Change.h"

#include "velta/xml/internal/Parser.h"
#include "velta/xml/internal/Tokenizer.h"

#include <utility>

namespace Velta::Xml {
namespace {

// What stands for a saved element that is gone.
constexpr std::int32_t kNowhere = -1;

bool IsText(MXmlNodeType type) noexcept {
  return type == MXmlNodeType::kText || type == MXmlNodeType::kWhitespace;
}

/// Whether a node of that type begins at an offset of a text that has just been parsed.
bool HasNode(const MString& text, const ElementIndex& index, MXmlNodeType type,
             std::int32_t offset) {
  if (type == MXmlNodeType::kNone) {
    return true;
  }
  if (type == MXmlNodeType::kElement) {
    return index.FindStart(offset) != 0;
  }
  const std::int32_t before = index.LastBefore(offset);
  const wchar_t* const place = text.data() + offset;
  Tokenizer tokenizer(text, nullptr);
  tokenizer.MoveTo(before != 0 ? index.At(before).start + index.GetTagLengths(before).start : 0);
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

}  // namespace

bool Change::Prepare() const {
  const std::size_t length =
      state.text.size() - static_cast<std::size_t>(end - begin) + state.scratch.size();
  if (length > kMaxTextLength) {
    return false;
  }
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
  if (distance == 0) {
    return;
  }
  state.index.MoveStarts(firstBehind, distance);
  state.index.Grow(parent, distance);
}

bool Change::ApplyAndParse(MXmlNodeType type, std::int32_t offset) const {
  const MString replaced(state.Part(begin, end));
  // Beside those of the document, which are still needed: by positions, and if this fails.
  ElementIndex index;
  ErrorText errors = state.errors.BeforeParse();
  ReplaceText();
  bool hasNode = false;
  try {
    Parse(state.text, state.IgnoresCase(), index, errors);
    hasNode = HasNode(state.text, index, type, offset);
  } catch (...) {
    RestoreText(replaced);
    throw;
  }
  if (!hasNode) {
    RestoreText(replaced);
    return false;
  }

  const auto moved = [&](std::int32_t element) {
    return element != 0 ? index.FindStart(NewStartOf(element)) : 0;
  };
  Position& position = state.position;
  for (std::int32_t* const element :
       {&position.parent, &position.current, &position.child, &position.precedingElement}) {
    *element = moved(*element);
  }
  state.saved.ForEach([&](SavedPosition& entry) {
    if (entry.element == 0) {
      return;
    }
    const std::int32_t element = moved(entry.element);
    entry.element = element != 0 ? element : kNowhere;
  });
  state.saved.DropIf([](const SavedPosition& entry) { return entry.element == kNowhere; });
  state.index = std::move(index);
  state.errors = std::move(errors);
  return true;
}

void Change::ReplaceText() const noexcept {
  state.text.replace(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin),
                     state.scratch);
}

void Change::RestoreText(const MString& replaced) const noexcept {
  state.text.replace(static_cast<std::size_t>(begin), state.scratch.size(), replaced);
}

std::int32_t Change::NewStartOf(std::int32_t element) const noexcept {
  const std::int32_t start = state.index.At(element).start;
  if (start >= end) {
    return start + Distance();
  }
  return start < begin ? start : kNowhere;
}

}  // namespace Velta::Xml
