// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/text/MString.h"

#include <string>

class MLocale;

/// Reads the number at the start of a text.
///
/// Leading white space, as the locale knows it, is skipped and whatever follows the number is
/// ignored ("12abc" reads as 12). Accepts what the C runtime accepts under the locale, the
/// spellings of infinity and not-a-number that older runtimes printed ("1.#INF", "-1.#IND",
/// "1.#QNAN00"), and "inf", "infinity" and "nan".
///
/// @param value  receives the number, saturated when it overflows or underflows; unspecified when
///               the result is false
/// @return false when there is no number, or `value` is null
///
/// Sets the calling thread's `errno`. Never throws.
[[nodiscard]] VELTA_API bool ParseDouble(const MLocale& locale, const MString& text,
                                         double* value) noexcept;

/// The scanner beneath `ParseDouble`.
///
/// @param text  zero-terminated, not null
/// @param end   receives where the number ends, `text` itself if there is none; may be null
VELTA_API double ScanDouble(const wchar_t* text, const wchar_t** end,
                            const MLocale& locale) noexcept;

/// Widens text in the C runtime's current multibyte encoding, up to its first null character.
///
/// A sequence that the encoding does not know ends the conversion as the runtime sees fit.
///
/// Errors: an `MException` holding an `MErrorOutOfMemory`.
VELTA_API MString ToWide(const std::string& text);
