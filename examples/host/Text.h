// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace host {

/// Wide text as UTF-8. What is no character becomes U+FFFD. Never throws but `std::bad_alloc`.
std::string ToUtf8(std::wstring_view text);

/// A path as text for an error's parameter. Where names are bytes, those that are no UTF-8
/// become U+FFFD.
MString ToText(const std::filesystem::path& path);

/// A path for display, on one line whatever characters it contains: in UTF-8, or where names are
/// bytes, those bytes.
std::string DisplayName(const std::filesystem::path& path);

}  // namespace host
