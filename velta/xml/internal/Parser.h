// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/ElementIndex.h"
#include "velta/xml/internal/ErrorText.h"

#include <cstddef>
#include <string>

namespace Velta::Xml {

/// The longest text whose offsets a record can hold.
inline constexpr std::size_t kMaxTextLength = 0x7FFFFFFF;

/// Parses a text of at most `kMaxTextLength` into an index and reports what is wrong with it.
///
/// Throws `std::bad_alloc`; the index is then incomplete.
void Parse(const std::wstring& text, bool ignoreCase, ElementIndex& index, ErrorText& errors);

}  // namespace Velta::Xml
