// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

#include <cstdint>

/// Takes the names under which a log's events are shown.
///
/// The framework supplies one implementation, `MKLoggerAdapter`; code reaches it through
/// `MDiagnosticsRegistry`, which says what each operation means.
///
/// The order of the virtual operations is part of the interface between modules.
///
/// Threads: any thread calls any operation at any time, several at once.
/// Errors: no operation throws.
class VELTA_API MDiagnosticsRegistryImplementation {
 public:
  MDiagnosticsRegistryImplementation(const MDiagnosticsRegistryImplementation&) = delete;
  MDiagnosticsRegistryImplementation& operator=(const MDiagnosticsRegistryImplementation&) = delete;

  virtual ~MDiagnosticsRegistryImplementation();

  virtual void RegisterClassName(const void* classKey, const wchar_t* name) noexcept = 0;
  virtual void RegisterPointName(const void* classKey, const void* pointKey,
                                 const wchar_t* name) noexcept = 0;
  virtual void RegisterObjectName(const void* object, const wchar_t* name) noexcept = 0;
  virtual void RegisterThreadName(const wchar_t* name) noexcept = 0;
  virtual void RegisterStateName(const void* classKey, std::uint32_t state,
                                 const wchar_t* name) noexcept = 0;
  virtual void RegisterErrorName(const void* errorKey, const wchar_t* name) noexcept = 0;
  virtual void RegisterMessageName(std::uint32_t messageKey, const wchar_t* name) noexcept = 0;

 protected:
  MDiagnosticsRegistryImplementation() = default;
};
