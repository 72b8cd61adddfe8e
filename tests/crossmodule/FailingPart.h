// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

/// What the chain of `FailureAsText` has to say, in characters that XML has other uses for.
inline constexpr wchar_t kHostileText[] =
    L"<Error type=\"string\">&amp; ]]> '\t\r\n \u00FC\u20AC\U0001F600 </Error>";

/// Fails, three operations deep, and writes the chain of errors as the text of a document
/// "ExceptionChain". The last error carries the others as such a text too.
MString FailureAsText();
