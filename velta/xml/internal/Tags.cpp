// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Tags.h"

#include "velta/xml/internal/References.h"

#include <algorithm>

namespace Velta::Xml {
namespace {

/// Whether a text begins with ` name="value"`, as this library writes attributes. What another
/// writes, or what needs to be decoded, may say the same in other ways.
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

TagInside InsideOfTag(const DocumentState& state, std::int32_t element) noexcept {
  if (element == 0) {
    return {};
  }
  const ElementRecord& record = state.index.At(element);
  const std::int32_t closing = record.Has(kEmptyTag) ? 2 : 1;
  return {record.start + 1, record.start + state.index.GetTagLengths(element).start - closing};
}

TagInside InsideOfCurrentTag(const DocumentState& state) noexcept {
  const Position& position = state.position;
  if (position.nodeType != MXmlNodeType::kProcessingInstruction) {
    return InsideOfTag(state, position.current);
  }
  return {position.nodeOffset + 2, position.NodeEnd() - 2};
}

AttributeReader AttributesOf(const DocumentState& state, TagInside tag) noexcept {
  const wchar_t* const text = state.text.data();
  return {text + tag.begin + NameAt(text + tag.begin).size(), text + tag.end};
}

bool FindAttribute(const DocumentState& state, TagInside tag, std::wstring_view name,
                   Attribute& attribute) noexcept {
  AttributeReader reader = AttributesOf(state, tag);
  while (reader.Next(attribute)) {
    if (!name.empty() && SameName(attribute.name, name, state.IgnoresCase())) {
      return true;
    }
  }
  return false;
}

bool HasAttribute(const DocumentState& state, TagInside tag, std::size_t nameLength,
                  std::wstring_view attribute, std::wstring_view value) {
  const std::wstring_view behindName =
      state.Part(tag.begin + static_cast<std::int32_t>(nameLength), tag.end);
  if (BeginsPlainly(behindName, attribute, value)) {
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
  std::size_t behind = 0;
  switch (type) {
    case MXmlNodeType::kCData:
      before = 9;  // "<![CDATA["; only its "C" has been looked at
      behind = 3;
      break;
    case MXmlNodeType::kProcessingInstruction:
      before = behind = 2;
      break;
    case MXmlNodeType::kComment:
      before = 4;
      behind = 3;
      break;
    case MXmlNodeType::kDocumentType:
      before = 2;
      behind = 1;
      break;
    default:
      break;
  }
  node.remove_suffix(behind);
  return node.substr((std::min)(before, node.size()));
}

}  // namespace Velta::Xml
