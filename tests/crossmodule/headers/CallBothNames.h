// SPDX-License-Identifier: MIT
#pragma once

// The two operations whose names windows.h replaces, called under whatever they became.

#if defined(_WIN32) && !(defined(GetMessage) && defined(GetClassInfo))
#error "a public header has removed a macro of windows.h"
#endif

namespace {

[[maybe_unused]] MString CallBothNames(const MError& error) {
  return error.GetClassInfo().className + error.GetMessage();
}

}  // namespace
