// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Attributes.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/Measures.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace Velta::Xml {

// The inside of a start tag or processing instruction: its name and attributes, up to the mark that
// closes it.

/// Of an element, if there is one.
[[nodiscard]] std::optional<Span> InsideOfTag(const DocumentState& state,
                                              ElementId element) noexcept;

/// Of the current element or processing instruction, if that is what is current.
[[nodiscard]] std::optional<Span> InsideOfCurrentTag(const DocumentState& state) noexcept;

/// Reads the attributes of a tag, from its name's end on.
[[nodiscard]] AttributeReader AttributesOf(const DocumentState& state, Span tag) noexcept;

/// Finds an attribute by its name.
///
/// @return false when there is none; `attribute` is then the last one, not complete if it is open
[[nodiscard]] bool FindAttribute(const DocumentState& state, Span tag, std::wstring_view name,
                                 Attribute& attribute) noexcept;

/// Whether a tag has an attribute with a value, decoded.
///
/// @param nameLength  how long the tag's own name is
[[nodiscard]] bool HasAttribute(const DocumentState& state, Span tag, std::size_t nameLength,
                                std::wstring_view attribute, std::wstring_view value);

/// What stands between the marks of a node that is not an element.
[[nodiscard]] std::wstring_view InnerText(MXmlNodeType type, std::wstring_view node) noexcept;

}  // namespace Velta::Xml
