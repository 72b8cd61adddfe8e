// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace Velta::Xml {

/// Whether `AppendEscaped`, keeping no references, would change anything.
[[nodiscard]] bool NeedsEscape(std::wstring_view text, bool quotes) noexcept;

/// Appends `text` with what markup is made of written as references: less-than, ampersand and
/// greater-than, and with `quotes` both quotes.
void AppendEscaped(std::wstring& out, std::wstring_view text, bool quotes, bool keepReferences);

/// Appends `text` as CDATA sections: more than one if it contains the mark that ends a section.
void AppendCData(std::wstring& out, std::wstring_view text);

/// Appends `text` with references turned back into characters.
void AppendUnescaped(std::wstring& out, std::wstring_view text);

}  // namespace Velta::Xml
