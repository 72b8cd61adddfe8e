// SPDX-License-Identifier: MIT
// What the current node is and holds.
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/References.h"
#include "velta/xml/internal/Search.h"
#include "velta/xml/internal/Tags.h"
#include "velta/xml/internal/Tokenizer.h"

#include <cstdint>
#include <optional>
#include <string_view>

using namespace Velta::Xml;

namespace {

std::wstring_view NodeText(const DocumentState& state) noexcept {
  const Position& position = state.position;
  if (position.IsOnNode()) {
    return state.Part({position.nodeOffset, position.NodeEnd()});
  }
  if (position.current == ElementId::kNone) {
    return {};
  }
  return state.Part({state.index.At(position.current).start, state.index.EndOf(position.current)});
}

/// "html" of "<!DOCTYPE html[...]>".
std::wstring_view DocumentTypeName(std::wstring_view node) noexcept {
  const wchar_t* at = node.data() + 2;
  at += NameAt(at).size();
  while (IsSpace(*at)) {
    ++at;
  }
  const std::wstring_view name = NameAt(at);
  return name.substr(0, name.find(L'['));
}

bool ReadAttribute(const DocumentState& state, std::optional<Span> tag, std::wstring_view name,
                   MString* value) {
  Attribute attribute;
  if (!tag.has_value() || !FindAttribute(state, *tag, name, attribute)) {
    return false;
  }
  if (value != nullptr) {
    value->clear();
    AppendUnescaped(*value, attribute.value);
  }
  return true;
}

/// An element's own text and CDATA. Child elements are stepped over by their records.
void AppendElementData(const DocumentState& state, ElementId element, MString& data) {
  const Offset end = state.ContentEnd(element);
  Offset at = state.ContentBegin(element);
  ElementId child = state.index.At(element).firstChild;
  Tokenizer tokenizer(state.text, nullptr);
  while (at < end) {
    if (child != ElementId::kNone && at == state.index.At(child).start) {
      at = state.index.EndOf(child);
      child = state.index.At(child).nextSibling;
      continue;
    }
    tokenizer.MoveTo(at);
    const Token token = tokenizer.Next();
    if (token.type == TokenType::kText || token.type == TokenType::kWhitespace) {
      AppendUnescaped(data, token.Text());
    } else if (token.type == TokenType::kCData) {
      data.append(InnerText(MXmlNodeType::kCData, token.Text()));
    }
    at += LengthOf(token.Text());
  }
}

/// The data of an element: a part of the text, as most often, or what `buffer` then holds.
std::wstring_view ElementData(const DocumentState& state, ElementId element, MString& buffer) {
  const std::wstring_view content =
      state.Part({state.ContentBegin(element), state.ContentEnd(element)});
  const wchar_t* const end = content.data() + content.size();
  if (FindMarkup(content.data(), end) == end) {
    return content;
  }
  buffer.clear();
  AppendElementData(state, element, buffer);
  return buffer;
}

bool ReadElementData(const DocumentState& state, ElementId element, MString* data) {
  if (element == ElementId::kNone) {
    return false;
  }
  if (data != nullptr) {
    data->assign(ElementData(state, element, *data));
  }
  return true;
}

}  // namespace

MXmlNodeType MXmlDocument::GetNodeType() const noexcept {
  return state_->position.current != ElementId::kNone ? MXmlNodeType::kElement
                                                      : state_->position.nodeType;
}

std::int32_t MXmlDocument::GetOffset() const noexcept {
  if (GetNodeType() == MXmlNodeType::kNone) {
    return -1;
  }
  return ToInt(state_->OffsetOf(NodeText(*state_).data()));
}

std::int32_t MXmlDocument::GetLength() const noexcept { return ToInt(LengthOf(NodeText(*state_))); }

std::wstring_view MXmlDocument::GetTagName() const noexcept {
  const Position& position = state_->position;
  switch (GetNodeType()) {
    case MXmlNodeType::kElement:
      return state_->NameOf(position.current);
    case MXmlNodeType::kText:
    case MXmlNodeType::kWhitespace:
      return L"#text";
    case MXmlNodeType::kCData:
      return L"#cdata-section";
    case MXmlNodeType::kComment:
      return L"#comment";
    case MXmlNodeType::kProcessingInstruction:
      return NameAt(state_->PlaceOf(position.nodeOffset) + 2);
    case MXmlNodeType::kDocumentType:
      return DocumentTypeName(NodeText(*state_));
    default:
      return {};
  }
}

std::wstring_view MXmlDocument::GetChildTagName() const noexcept {
  const ElementId child = state_->position.child;
  return child != ElementId::kNone ? state_->NameOf(child) : std::wstring_view();
}

std::wstring_view MXmlDocument::GetNodeText() const noexcept { return NodeText(*state_); }

bool MXmlDocument::GetAttribute(std::wstring_view name, MString* value) const {
  return ReadAttribute(*state_, InsideOfCurrentTag(*state_), name, value);
}

bool MXmlDocument::GetChildAttribute(std::wstring_view name, MString* value) const {
  return ReadAttribute(*state_, InsideOfTag(*state_, state_->position.child), name, value);
}

MString MXmlDocument::GetAttribute(std::wstring_view name) const {
  MString value;
  static_cast<void>(GetAttribute(name, &value));
  return value;
}

bool MXmlDocument::GetNextAttribute(std::int32_t* cursor, MString* name, MString* value) const {
  const std::optional<Span> tag = InsideOfCurrentTag(*state_);
  if (!tag.has_value() || *cursor < 0 || *cursor > ToInt(tag->Size())) {
    return false;
  }
  const wchar_t* const begin = state_->PlaceOf(tag->begin);
  AttributeReader reader = *cursor == 0
                               ? AttributesOf(*state_, *tag)
                               : AttributeReader(begin + *cursor, state_->PlaceOf(tag->end));
  Attribute attribute;
  do {
    if (!reader.Next(attribute)) {
      return false;
    }
  } while (attribute.name.empty());
  name->assign(attribute.name);
  value->clear();
  AppendUnescaped(*value, attribute.value);
  *cursor = static_cast<std::int32_t>(reader.Position() -
                                      begin);  // last: a call that throws passes over nothing
  return true;
}

bool MXmlDocument::GetData(MString* data) const {
  const Position& position = state_->position;
  if (!position.IsOnNode()) {
    return ReadElementData(*state_, position.current, data);
  }
  if (data == nullptr) {
    return true;
  }
  const std::wstring_view inner = InnerText(position.nodeType, NodeText(*state_));
  data->clear();
  if (position.nodeType == MXmlNodeType::kText || position.nodeType == MXmlNodeType::kWhitespace) {
    AppendUnescaped(*data, inner);
  } else {
    data->append(inner);
  }
  return true;
}

bool MXmlDocument::GetChildData(MString* data) const {
  return ReadElementData(*state_, state_->position.child, data);
}

MString MXmlDocument::GetData() const {
  MString data;
  static_cast<void>(GetData(&data));
  return data;
}

const DocumentState& DocumentAccess::StateOf(const MXmlDocument& document) noexcept {
  return *document.state_;
}

std::optional<std::wstring_view> DocumentAccess::PeekData(const MXmlDocument& document,
                                                          std::wstring_view name,
                                                          std::wstring_view attribute,
                                                          std::wstring_view value,
                                                          MString& buffer) {
  const DocumentState& state = *document.state_;
  const ElementId element = state.NextOnLevel();
  if (element == ElementId::kNone || !state.IsNamed(element, name) ||
      !HasAttribute(state, *InsideOfTag(state, element), name.size(), attribute, value)) {
    return std::nullopt;
  }
  return ElementData(state, element, buffer);
}
