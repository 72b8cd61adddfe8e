// SPDX-License-Identifier: MIT
// Moving in a document.
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/Characters.h"
#include "velta/xml/internal/DocumentAccess.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/Tokenizer.h"

#include <cstdint>
#include <string_view>
#include <vector>

using namespace Velta::Xml;

namespace {

void MoveTo(DocumentState& state, ElementId parent, ElementId current, ElementId child) noexcept {
  state.position = Position();
  state.position.parent = parent;
  state.position.current = current;
  state.position.child = child;
}

/// The first of that name among an element and those after it on its level.
ElementId FirstNamed(const DocumentState& state, ElementId element,
                     std::wstring_view name) noexcept {
  while (element != ElementId::kNone && !state.IsNamed(element, name)) {
    element = state.index.At(element).nextSibling;
  }
  return element;
}

bool MoveToElement(DocumentState& state, ElementId element) noexcept {
  if (element == ElementId::kNone) {
    return false;
  }
  MoveTo(state, state.position.parent, element, ElementId::kNone);
  return true;
}

bool MoveToChild(DocumentState& state, ElementId element) noexcept {
  if (element == ElementId::kNone) {
    return false;
  }
  state.position.child = element;
  return true;
}

ElementId NextBelow(const DocumentState& state) noexcept {
  const ElementId current = state.position.current;
  return current != ElementId::kNone ? state.NextChild(current, state.position.child)
                                     : ElementId::kNone;
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

void MXmlDocument::ResetPosition() noexcept { state_->position = Position(); }

bool MXmlDocument::FindElement() noexcept { return MoveToElement(*state_, state_->NextOnLevel()); }

bool MXmlDocument::FindElement(std::wstring_view name) noexcept {
  return MoveToElement(*state_, FirstNamed(*state_, state_->NextOnLevel(), name));
}

MXmlNodeType MXmlDocument::FindNode(MXmlNodeType types) noexcept {
  const Position& position = state_->position;
  const Offset end = state_->ContentEnd(position.parent);
  ElementId previous = position.LastElement();
  Offset at = position.IsOnNode()                    ? position.NodeEnd()
              : position.current != ElementId::kNone ? state_->index.EndOf(previous)
                                                     : state_->ContentBegin(position.parent);
  Tokenizer tokenizer(state_->text, nullptr);
  while (at < end) {
    const ElementId element = state_->NextChild(position.parent, previous);
    if (element != ElementId::kNone && at == state_->index.At(element).start) {
      if (Includes(types, MXmlNodeType::kElement)) {
        MoveToElement(*state_, element);
        return MXmlNodeType::kElement;
      }
      previous = element;
      at = state_->index.EndOf(element);
      continue;
    }
    tokenizer.MoveTo(at);
    const Token token = tokenizer.Next();
    const Length length = LengthOf(token.Text());
    const MXmlNodeType type = NodeTypeOf(token);
    if (Includes(types, type)) {
      MoveTo(*state_, position.parent, ElementId::kNone, ElementId::kNone);
      state_->position.nodeType = type;
      state_->position.nodeOffset = at;
      state_->position.nodeLength = length;
      state_->position.precedingElement = previous;
      return type;
    }
    at += length;
  }
  return MXmlNodeType::kNone;
}

bool MXmlDocument::FindChildElement() noexcept { return MoveToChild(*state_, NextBelow(*state_)); }

bool MXmlDocument::FindChildElement(std::wstring_view name) noexcept {
  return MoveToChild(*state_, FirstNamed(*state_, NextBelow(*state_), name));
}

bool MXmlDocument::IntoElement() noexcept {
  if (state_->position.current == ElementId::kNone) {
    return false;
  }
  MoveTo(*state_, state_->position.current, state_->position.child, ElementId::kNone);
  return true;
}

bool MXmlDocument::OutOfElement() noexcept {
  const ElementId element = state_->position.parent;
  if (element == ElementId::kDocument) {
    return false;
  }
  MoveTo(*state_, state_->index.At(element).parent, element, ElementId::kNone);
  return true;
}

void MXmlDocument::SavePosition(std::wstring_view name) {
  const Position& position = state_->position;
  if (position.child != ElementId::kNone) {
    state_->saved.Save(name, position.child, SavedLevel::kChild);
  } else if (position.current != ElementId::kNone) {
    state_->saved.Save(name, position.current, SavedLevel::kCurrent);
  } else {
    state_->saved.Save(name, position.parent, SavedLevel::kParent);
  }
}

bool MXmlDocument::RestorePosition(std::wstring_view name) noexcept {
  const SavedPosition* const saved = state_->saved.Find(name);
  if (saved == nullptr) {
    return false;
  }
  const ElementId element = saved->element;
  if (saved->level == SavedLevel::kParent) {
    MoveTo(*state_, element, ElementId::kNone, ElementId::kNone);
  } else {
    const ElementId above = state_->index.At(element).parent;
    if (saved->level == SavedLevel::kCurrent) {
      MoveTo(*state_, above, element, ElementId::kNone);
    } else {
      MoveTo(*state_, state_->index.At(above).parent, above, element);
    }
  }
  return true;
}

bool DocumentAccess::MoveBefore(MXmlDocument& document, std::wstring_view name) noexcept {
  DocumentState& state = *document.state_;
  const ElementId parent = state.position.parent;
  ElementId found = FirstNamed(state, state.NextOnLevel(), name);
  if (found == ElementId::kNone) {
    found = FirstNamed(state, state.index.At(parent).firstChild, name);
  }
  if (found == ElementId::kNone) {
    return false;
  }
  MoveTo(state, parent, state.index.At(found).previousSibling, ElementId::kNone);
  return true;
}

void DocumentAccess::MoveToStart(MXmlDocument& document) noexcept {
  DocumentState& state = *document.state_;
  MoveTo(state, state.position.parent, ElementId::kNone, ElementId::kNone);
}

std::int32_t DocumentAccess::OffsetOfNext(const MXmlDocument& document) noexcept {
  const DocumentState& state = *document.state_;
  const ElementId next = state.NextOnLevel();
  return next != ElementId::kNone ? ToInt(state.index.At(next).start) : -1;
}

MString DocumentAccess::PathOfLevel(const MXmlDocument& document) {
  const DocumentState& state = *document.state_;
  std::vector<ElementId> around;
  for (ElementId element = state.position.parent; element != ElementId::kDocument;
       element = state.index.At(element).parent) {
    around.push_back(element);
  }
  MString path;
  for (auto element = around.rbegin(); element != around.rend(); ++element) {
    path.append(state.NameOf(*element)).append(1, L'/');
  }
  return path;
}
