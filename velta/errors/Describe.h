// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/platform/Api.h"
#include "velta/text/MString.h"

/// The error as a person reads it: its message, then its parameters, ordered by name.
///
/// ```
/// Copier.Copy:NotCopied (bytes 5000000000, file settings.xml)
/// ```
///
/// Errors: `std::bad_alloc`.
[[nodiscard]] VELTA_API MString Describe(const MError& error);

/// The chain as a person reads it, the error raised last first, one line for each:
///
/// ```
/// Copier.Copy:NotCopied (bytes 5000000000, file settings.xml)
/// caused by: MInFilerTaggedXml.Open:WinError (winErrorCode 5, winErrorMessage Access is denied)
/// ```
///
/// An entry without its error reads "Out of memory", an empty chain "Unspecified error". No line
/// break at the end. Texts are shown as they are, also line breaks that they hold.
///
/// Errors: `std::bad_alloc`.
[[nodiscard]] VELTA_API MString Describe(const MException& exception);

/// The same on one line: entries are separated by "; ", and a line break or another control
/// character within a text is shown as a space.
[[nodiscard]] VELTA_API MString DescribeOnOneLine(const MException& exception);
