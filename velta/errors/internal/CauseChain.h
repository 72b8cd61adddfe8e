// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

class MException;

namespace Velta::Errors {

/// Reads the text of a cause chain into `causes`.
///
/// Declared here for the errors, defined with the filers that know the text's form.
/// @return false when the text is no such chain; `causes` then holds what could be read of it
bool ReadCauseChain(const MString& text, MException* causes);

}  // namespace Velta::Errors
