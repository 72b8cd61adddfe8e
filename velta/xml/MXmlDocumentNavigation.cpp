// SPDX-License-Identifier: MIT
// Moving about in a document.
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/Tokenizer.h"

using Velta::Xml::DocumentState;
using Velta::Xml::Position;
using Velta::Xml::SavedLevel;
using Velta::Xml::Token;
using Velta::Xml::Tokenizer;

namespace {

void MoveTo(DocumentState& state, std::int32_t parent, std::int32_t current,
            std::int32_t child) noexcept {
  state.position = Position();
  state.position.parent = parent;
  state.position.current = current;
  state.position.child = child;
}

/// The first of that name among an element and those behind it on its level.
std::int32_t FirstNamed(const DocumentState& state, std::int32_t element,
                        std::wstring_view name) noexcept {
  while (element != 0 && !state.IsNamed(element, name)) {
    element = state.index.At(element).nextSibling;
  }
  return element;
}

bool MoveToElement(DocumentState& state, std::int32_t element) noexcept {
  if (element == 0) {
    return false;
  }
  MoveTo(state, state.position.parent, element, 0);
  return true;
}

bool MoveToChild(DocumentState& state, std::int32_t element) noexcept {
  if (element == 0) {
    return false;
  }
  state.position.child = element;
  return true;
}

std::int32_t NextBelow(const DocumentState& state) noexcept {
  const std::int32_t current = state.position.current;
  return current != 0 ? state.NextChild(current, state.position.child) : 0;
}

bool Includes(MXmlNodeType types, MXmlNodeType type) noexcept {
  return (static_cast<std::int32_t>(types) & static_cast<std::int32_t>(type)) != 0;
}

/// What a token is as a node. Elements are found by their records, the rest is no node.
MXmlNodeType NodeTypeOf(const Token& token) noexcept {
  const auto type = static_cast<std::int32_t>(token.type);
  return type > static_cast<std::int32_t>(MXmlNodeType::kElement) ? static_cast<MXmlNodeType>(type)
                                                                  : MXmlNodeType::kNone;
}

}  // namespace

void MXmlDocument::ResetPosition() noexcept { state->position = Position(); }

bool MXmlDocument::FindElement() noexcept { return MoveToElement(*state, state->NextOnLevel()); }

bool MXmlDocument::FindElement(std::wstring_view name) noexcept {
  return MoveToElement(*state, FirstNamed(*state, state->NextOnLevel(), name));
}

MXmlNodeType MXmlDocument::FindNode(MXmlNodeType types) noexcept {
  const Position& position = state->position;
  const std::int32_t end = state->ContentEnd(position.parent);
  std::int32_t previous = position.LastElement();
  std::int32_t at = position.IsOnNode()     ? position.NodeEnd()
                    : position.current != 0 ? state->index.EndOf(previous)
                                            : state->ContentBegin(position.parent);
  Tokenizer tokenizer(state->text, nullptr);
  while (at < end) {
    const std::int32_t element = state->NextChild(position.parent, previous);
    if (element != 0 && at == state->index.At(element).start) {
      if (Includes(types, MXmlNodeType::kElement)) {
        MoveToElement(*state, element);
        return MXmlNodeType::kElement;
      }
      previous = element;
      at = state->index.EndOf(element);
      continue;
    }
    tokenizer.MoveTo(at);
    const Token token = tokenizer.Next();
    const auto length = static_cast<std::int32_t>(token.end - token.begin);
    const MXmlNodeType type = NodeTypeOf(token);
    if (Includes(types, type)) {
      MoveTo(*state, position.parent, 0, 0);
      state->position.nodeType = type;
      state->position.nodeOffset = at;
      state->position.nodeLength = length;
      state->position.precedingElement = previous;
      return type;
    }
    at += length;
  }
  return MXmlNodeType::kNone;
}

bool MXmlDocument::FindChildElement() noexcept { return MoveToChild(*state, NextBelow(*state)); }

bool MXmlDocument::FindChildElement(std::wstring_view name) noexcept {
  return MoveToChild(*state, FirstNamed(*state, NextBelow(*state), name));
}

bool MXmlDocument::IntoElement() noexcept {
  if (state->position.current == 0) {
    return false;
  }
  MoveTo(*state, state->position.current, state->position.child, 0);
  return true;
}

bool MXmlDocument::OutOfElement() noexcept {
  const std::int32_t element = state->position.parent;
  if (element == 0) {
    return false;
  }
  MoveTo(*state, state->index.At(element).parent, element, 0);
  return true;
}

void MXmlDocument::SavePosition(std::wstring_view name) {
  const Position& position = state->position;
  if (position.child != 0) {
    state->saved.Save(name, position.child, SavedLevel::kChild);
  } else if (position.current != 0) {
    state->saved.Save(name, position.current, SavedLevel::kCurrent);
  } else {
    state->saved.Save(name, position.parent, SavedLevel::kParent);
  }
}

bool MXmlDocument::RestorePosition(std::wstring_view name) noexcept {
  const Velta::Xml::SavedPosition* const saved = state->saved.Find(name);
  if (saved == nullptr) {
    return false;
  }
  const std::int32_t element = saved->element;
  if (saved->level == SavedLevel::kParent) {
    MoveTo(*state, element, 0, 0);
  } else {
    const std::int32_t above = state->index.At(element).parent;
    if (saved->level == SavedLevel::kCurrent) {
      MoveTo(*state, above, element, 0);
    } else {
      MoveTo(*state, state->index.At(above).parent, above, element);
    }
  }
  return true;
}
