// SPDX-License-Identifier: MIT
#include "velta/xml/internal/Tags.h"

#include <algorithm>

namespace Velta::Xml {

TagInside InsideOfTag(const DocumentState& state, std::int32_t element) noexcept {
  if (element == 0) return {};
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
    if (!name.empty() && SameName(attribute.name, name, state.IgnoresCase())) return true;
  }
  return false;
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
