// SPDX-License-Identifier: MIT
// What the current node is and holds.
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/References.h"
#include "velta/xml/internal/Search.h"
#include "velta/xml/internal/Tags.h"
#include "velta/xml/internal/Tokenizer.h"

using namespace Velta::Xml;

namespace {

std::wstring_view NodeText(const DocumentState& state) noexcept {
  const Position& position = state.position;
  if (position.IsOnNode()) {
    return state.Part(position.nodeOffset, position.NodeEnd());
  }
  if (position.current == 0) {
    return {};
  }
  return state.Part(state.index.At(position.current).start, state.index.EndOf(position.current));
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

bool ReadAttribute(const DocumentState& state, TagInside tag, std::wstring_view name,
                   MString* value) {
  Attribute attribute;
  if (!tag.Exists() || !FindAttribute(state, tag, name, attribute)) {
    return false;
  }
  if (value != nullptr) {
    value->clear();
    AppendUnescaped(*value, attribute.value);
  }
  return true;
}

/// An element's own text and CDATA. Child elements are stepped over by their records.
void AppendElementData(const DocumentState& state, std::int32_t element, MString& data) {
  const std::int32_t end = state.ContentEnd(element);
  std::int32_t at = state.ContentBegin(element);
  std::int32_t child = state.index.At(element).firstChild;
  Tokenizer tokenizer(state.text, nullptr);
  while (at < end) {
    if (child != 0 && at == state.index.At(child).start) {
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
    at += static_cast<std::int32_t>(token.end - token.begin);
  }
}

/// The data of an element: a part of the text, as most often, or what `buffer` then holds.
std::wstring_view ElementData(const DocumentState& state, std::int32_t element, MString& buffer) {
  const std::wstring_view content =
      state.Part(state.ContentBegin(element), state.ContentEnd(element));
  const wchar_t* const end = content.data() + content.size();
  if (FindMarkup(content.data(), end) == end) {
    return content;
  }
  buffer.clear();
  AppendElementData(state, element, buffer);
  return buffer;
}

bool ReadElementData(const DocumentState& state, std::int32_t element, MString* data) {
  if (element == 0) {
    return false;
  }
  if (data != nullptr) {
    data->assign(ElementData(state, element, *data));
  }
  return true;
}

}  // namespace

MXmlNodeType MXmlDocument::GetNodeType() const noexcept {
  return state->position.current != 0 ? MXmlNodeType::kElement : state->position.nodeType;
}

std::int32_t MXmlDocument::GetOffset() const noexcept {
  if (GetNodeType() == MXmlNodeType::kNone) {
    return -1;
  }
  return static_cast<std::int32_t>(NodeText(*state).data() - state->text.data());
}

std::int32_t MXmlDocument::GetLength() const noexcept {
  return static_cast<std::int32_t>(NodeText(*state).size());
}

std::wstring_view MXmlDocument::GetTagName() const noexcept {
  const Position& position = state->position;
  switch (GetNodeType()) {
    case MXmlNodeType::kElement:
      return state->NameOf(position.current);
    case MXmlNodeType::kText:
    case MXmlNodeType::kWhitespace:
      return L"#text";
    case MXmlNodeType::kCData:
      return L"#cdata-section";
    case MXmlNodeType::kComment:
      return L"#comment";
    case MXmlNodeType::kProcessingInstruction:
      return NameAt(state->text.data() + position.nodeOffset + 2);
    case MXmlNodeType::kDocumentType:
      return DocumentTypeName(NodeText(*state));
    default:
      return {};
  }
}

std::wstring_view MXmlDocument::GetChildTagName() const noexcept {
  const std::int32_t child = state->position.child;
  return child != 0 ? state->NameOf(child) : std::wstring_view();
}

std::wstring_view MXmlDocument::GetNodeText() const noexcept { return NodeText(*state); }

bool MXmlDocument::GetAttribute(std::wstring_view name, MString* value) const {
  return ReadAttribute(*state, InsideOfCurrentTag(*state), name, value);
}

bool MXmlDocument::GetChildAttribute(std::wstring_view name, MString* value) const {
  return ReadAttribute(*state, InsideOfTag(*state, state->position.child), name, value);
}

MString MXmlDocument::GetAttribute(std::wstring_view name) const {
  MString value;
  static_cast<void>(GetAttribute(name, &value));
  return value;
}

bool MXmlDocument::GetNextAttribute(std::int32_t* cursor, MString* name, MString* value) const {
  const TagInside tag = InsideOfCurrentTag(*state);
  if (!tag.Exists() || *cursor < 0 || *cursor > tag.end - tag.begin) {
    return false;
  }
  const wchar_t* const begin = state->text.data() + tag.begin;
  AttributeReader reader = *cursor == 0
                               ? AttributesOf(*state, tag)
                               : AttributeReader(begin + *cursor, state->text.data() + tag.end);
  Attribute attribute;
  do {
    if (!reader.Next(attribute)) {
      return false;
    }
  } while (attribute.name.empty());
  name->assign(attribute.name);
  value->clear();
  AppendUnescaped(*value, attribute.value);
  *cursor = static_cast<std::int32_t>(reader.Position() - begin);  // last: what fails is not passed
  return true;
}

bool MXmlDocument::GetData(MString* data) const {
  const Position& position = state->position;
  if (!position.IsOnNode()) {
    return ReadElementData(*state, position.current, data);
  }
  if (data == nullptr) {
    return true;
  }
  const std::wstring_view inner = InnerText(position.nodeType, NodeText(*state));
  data->clear();
  if (position.nodeType == MXmlNodeType::kText || position.nodeType == MXmlNodeType::kWhitespace) {
    AppendUnescaped(*data, inner);
  } else {
    data->append(inner);
  }
  return true;
}

bool MXmlDocument::GetChildData(MString* data) const {
  return ReadElementData(*state, state->position.child, data);
}

MString MXmlDocument::GetData() const {
  MString data;
  static_cast<void>(GetData(&data));
  return data;
}

const DocumentState& DocumentAccess::StateOf(const MXmlDocument& document) noexcept {
  return *document.state;
}

std::optional<std::wstring_view> DocumentAccess::PeekData(const MXmlDocument& document,
                                                          std::wstring_view name,
                                                          std::wstring_view attribute,
                                                          std::wstring_view value,
                                                          MString& buffer) {
  const DocumentState& state = *document.state;
  const std::int32_t element = state.NextOnLevel();
  if (element == 0 || !state.IsNamed(element, name) ||
      !HasAttribute(state, InsideOfTag(state, element), name.size(), attribute, value)) {
    return std::nullopt;
  }
  return ElementData(state, element, buffer);
}
