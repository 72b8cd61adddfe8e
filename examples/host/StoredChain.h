// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

class IInFilerTagged;
class IOutFilerTagged;
class MException;

namespace host {

/// Writes a chain of errors as a group, or as a string where a group cannot hold several of one
/// name: a chain's errors all have the same. Either way its form is the document "ExceptionChain"
/// that an error's causes have.
[[nodiscard]] bool WriteChain(IOutFilerTagged& filer, const MString& tag, const MException& chain);

/// Reads what `WriteChain` wrote.
///
/// @return false when there is no chain of that name, or one that cannot be read
///
/// Errors: `std::bad_alloc`.
[[nodiscard]] bool ReadChain(IInFilerTagged& filer, const MString& tag, MException& chain);

}  // namespace host
