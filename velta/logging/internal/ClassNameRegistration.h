// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

namespace Velta::Logging {

/// Registers a class's name, under the address of the name itself, when the module is loaded.
///
/// One per class, a static object in the class's own source file after the definition of its name:
///
/// ```cpp
/// const wchar_t MJobRunner::ClassName[] = L"MJobRunner";
/// namespace {
/// const Velta::Logging::ClassNameRegistration registration(MJobRunner::ClassName);
/// }
/// ```
class ClassNameRegistration {
 public:
  VELTA_API explicit ClassNameRegistration(const wchar_t* className) noexcept;
};

}  // namespace Velta::Logging
