// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Tags.h"

#include "velta/xml/internal/References.h"

#include <algorithm>
#include <optional>

namespace Velta::Xml {
namespace {

/// Whether a text begins with ` name="value"`, as this library writes attributes. Other writers,
/// and values with references, may say the same in other ways.
bool BeginsPlainly(std::wstring_view text, std::wstring_view name,
                   std::wstring_view value) noexcept {
  constexpr std::size_t kAround = 4;  // the space, the equals sign, the quotes
  if (text.size() < name.size() + value.size() + kAround || name.empty()) {
    return false;
  }
  const wchar_t* at = text.data();
  if (*at++ != L' ') {
    return false;
  }
  for (const wchar_t c : name) {
    if (*at++ != c || IsNameEnd(c)) {
      return false;
    }
  }
  if (*at++ != L'=' || *at++ != L'"') {
    return false;
  }
  for (const wchar_t c : value) {
    if (*at++ != c || c == L'&' || c == L'"') {
      return false;
    }
  }
  return *at == L'"';
}

}  // namespace

std::optional<Span> InsideOfTag(const DocumentState& state, ElementId element) noexcept {
  if (element == ElementId::kNone) {
    return std::nullopt;
  }
  const ElementRecord& record = state.index.At(element);
  const Length closing{record.Has(kEmptyTag) ? 2 : 1};
  return Span{record.start + Length{1},
              record.start + state.index.GetTagLengths(element).start - closing};
}

std::optional<Span> InsideOfCurrentTag(const DocumentState& state) noexcept {
  const Position& position = state.position;
  if (position.nodeType != MXmlNodeType::kProcessingInstruction) {
    return InsideOfTag(state, position.current);
  }
  return Span{position.nodeOffset + Length{2}, position.NodeEnd() - Length{2}};
}

AttributeReader AttributesOf(const DocumentState& state, Span tag) noexcept {
  const wchar_t* const begin = state.PlaceOf(tag.begin);
  return {begin + NameAt(begin).size(), state.PlaceOf(tag.end)};
}

bool FindAttribute(const DocumentState& state, Span tag, std::wstring_view name,
                   Attribute& attribute) noexcept {
  AttributeReader reader = AttributesOf(state, tag);
  while (reader.Next(attribute)) {
    if (!name.empty() && SameName(attribute.name, name, state.IgnoresCase())) {
      return true;
    }
  }
  return false;
}

bool HasAttribute(const DocumentState& state, Span tag, std::size_t nameLength,
                  std::wstring_view attribute, std::wstring_view value) {
  const Span afterName{tag.begin + LengthFrom(nameLength), tag.end};
  if (BeginsPlainly(state.Part(afterName), attribute, value)) {
    return true;
  }
  Attribute found;
  if (!FindAttribute(state, tag, attribute, found)) {
    return false;
  }
  MString decoded;
  AppendUnescaped(decoded, found.value);
  return decoded == value;
}

std::wstring_view InnerText(MXmlNodeType type, std::wstring_view node) noexcept {
  std::size_t before = 0;
  std::size_t after = 0;
  switch (type) {
    case MXmlNodeType::kCData:
      before = 9;  // "<![CDATA["; the tokenizer checks no more than the "C"
      after = 3;
      break;
    case MXmlNodeType::kProcessingInstruction:
      before = after = 2;
      break;
    case MXmlNodeType::kComment:
      before = 4;
      after = 3;
      break;
    case MXmlNodeType::kDocumentType:
      before = 2;
      after = 1;
      break;
    default:
      break;
  }
  node.remove_suffix(after);
  return node.substr((std::min)(before, node.size()));
}

}  // namespace Velta::Xml
