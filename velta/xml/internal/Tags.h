// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Attributes.h"
#include "velta/xml/internal/DocumentState.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Velta::Xml {

/// The part of a start tag or processing instruction where its name and attributes are, up to the
/// mark that closes it.
struct TagInside {
  std::int32_t begin = 0;
  std::int32_t end = -1;

  [[nodiscard]] bool Exists() const noexcept { return end >= 0; }
};

/// Of an element; 0 has none.
[[nodiscard]] TagInside InsideOfTag(const DocumentState& state, std::int32_t element) noexcept;

/// Of the current element or processing instruction, if that is what is current.
[[nodiscard]] TagInside InsideOfCurrentTag(const DocumentState& state) noexcept;

/// Reads the attributes of a tag, from behind its name on.
[[nodiscard]] AttributeReader AttributesOf(const DocumentState& state, TagInside tag) noexcept;

/// Finds an attribute by its name.
///
/// @return false when there is none; `attribute` is then the last one, not complete if it is open
[[nodiscard]] bool FindAttribute(const DocumentState& state, TagInside tag, std::wstring_view name,
                                 Attribute& attribute) noexcept;

/// Whether a tag has an attribute with a value, decoded.
///
/// @param nameLength  how long the tag's own name is
[[nodiscard]] bool HasAttribute(const DocumentState& state, TagInside tag, std::size_t nameLength,
                                std::wstring_view attribute, std::wstring_view value);

/// What stands between the marks of a node that is not an element.
[[nodiscard]] std::wstring_view InnerText(MXmlNodeType type, std::wstring_view node) noexcept;

}  // namespace Velta::Xml
