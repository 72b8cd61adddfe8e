// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/text/MString.h"

#include <string>
#include <string_view>

/// Reads UTF-8.
///
/// Errors: an `MException`, "Utf8.FromUtf8:MalformedText", with the parameter "offset": the byte at
/// which the first sequence begins that is not UTF-8 (cut off, overlong, a surrogate, or beyond
/// U+10FFFF). `MErrorOutOfMemory` when memory is missing.
[[nodiscard]] VELTA_API MString FromUtf8(std::string_view text);

/// Reads UTF-8, with U+FFFD for what is none: one for each sequence that begins well and is cut
/// off, and for each other byte that has no place.
///
/// Errors: an `MException` that holds an `MErrorOutOfMemory`.
[[nodiscard]] VELTA_API MString FromUtf8Lossy(std::string_view text);

/// Writes UTF-8.
///
/// Errors: an `MException`, "Utf8.ToUtf8:MalformedText", with the parameter "offset": the first
/// code unit that is no character's (half of a surrogate pair; on Linux any surrogate, or a number
/// beyond U+10FFFF). `MErrorOutOfMemory` when memory is missing.
[[nodiscard]] VELTA_API std::string ToUtf8(std::wstring_view text);

/// Writes UTF-8, with U+FFFD for each code unit that is no character's.
///
/// Errors: an `MException` that holds an `MErrorOutOfMemory`.
[[nodiscard]] VELTA_API std::string ToUtf8Lossy(std::wstring_view text);
