// SPDX-License-Identifier: MIT
#include "velta/logging/MDiagnosticsRegistry.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistryImplementation.h"

using namespace Velta::Logging;

namespace {

const wchar_t ClassName[] = L"MDiagnosticsRegistry";
const wchar_t ImplementationClassName[] = L"MDiagnosticsRegistryImplementation";
const ClassNameRegistration registrations[] = {ClassNameRegistration(ClassName),
                                               ClassNameRegistration(ImplementationClassName)};

}  // namespace

ClassNameRegistration::ClassNameRegistration(const wchar_t* className) noexcept {
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterClassName(className, className);
  }
}

MDiagnosticsRegistryImplementation::~MDiagnosticsRegistryImplementation() = default;

void MDiagnosticsRegistry::RegisterClassName(const void* classKey, const wchar_t* name) noexcept {
  if (implementation_ != nullptr) {
    implementation_->RegisterClassName(classKey, name);
  }
}

void MDiagnosticsRegistry::RegisterPointName(const void* classKey, const void* pointKey,
                                             const wchar_t* name) noexcept {
  if (implementation_ != nullptr) {
    implementation_->RegisterPointName(classKey, pointKey, name);
  }
}

void MDiagnosticsRegistry::RegisterObjectName(const void* object, const wchar_t* name) noexcept {
  if (implementation_ != nullptr) {
    implementation_->RegisterObjectName(object, name);
  }
}

void MDiagnosticsRegistry::RegisterThreadName(const wchar_t* name) noexcept {
  if (implementation_ != nullptr) {
    implementation_->RegisterThreadName(name);
  }
}

void MDiagnosticsRegistry::RegisterStateName(const void* classKey, std::uint32_t state,
                                             const wchar_t* name) noexcept {
  if (implementation_ != nullptr) {
    implementation_->RegisterStateName(classKey, state, name);
  }
}

void MDiagnosticsRegistry::RegisterErrorName(const void* errorKey, const wchar_t* name) noexcept {
  if (implementation_ != nullptr) {
    implementation_->RegisterErrorName(errorKey, name);
  }
}

void MDiagnosticsRegistry::RegisterMessageName(std::uint32_t messageKey,
                                               const wchar_t* name) noexcept {
  if (implementation_ != nullptr) {
    implementation_->RegisterMessageName(messageKey, name);
  }
}
