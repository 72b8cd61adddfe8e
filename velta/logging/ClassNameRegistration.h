// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

namespace Velta::Logging {

/// Gives a class its name in the event log, from the load of its module on.
///
/// The log knows a class by the address of its name. So define one array in the class's own source
/// file, register it with one static object after it, and make all of the class's flow points of
/// it: an equal literal elsewhere is another class, without a name. The array must live as long as
/// the process; a null name is not registered. Never throws.
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
