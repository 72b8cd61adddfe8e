// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

/// Registers a class's name, under the address of the name itself, when the module is loaded.
///
/// One per class, a static object in the class's own source file behind the definition of its name:
///
/// ```cpp
/// const wchar_t MJobRunner::ClassName[] = L"MJobRunner";
/// namespace {
/// const ClassNameRegistration registration(MJobRunner::ClassName);
/// }
/// ```
class ClassNameRegistration {
 public:
  VELTA_API explicit ClassNameRegistration(const wchar_t* className) noexcept;
};
