// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/MDiagnosticsRegistry.h"

/// Gives a class its name in the event log, from start-up on.
///
/// The log knows a class by the address of its name. So define one array in the class's own source
/// file, register it with one static object, and make all of the class's flow points of it: an
/// equal literal elsewhere is another class, without a name.
///
/// ```cpp
/// const wchar_t ClassName[] = L"JobRunner";
/// const RegisteredName registeredName(ClassName);
/// ```
class RegisteredName {
 public:
  explicit RegisteredName(const wchar_t* className) noexcept {
    if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
      registry->RegisterClassName(className, className);
    }
  }
};
