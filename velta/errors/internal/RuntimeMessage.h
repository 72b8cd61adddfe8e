// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

#include <exception>

namespace Velta::Errors {

/// The text of a runtime's exception, as "errorMessage" gives it: widened by the C locale in force.
/// A byte that is no character there costs only itself, and becomes a question mark.
MString RuntimeMessage(const std::exception& cause);

}  // namespace Velta::Errors
