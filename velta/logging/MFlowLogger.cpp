// SPDX-License-Identifier: MIT
#include "velta/logging/MFlowLogger.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowLoggerImplementation.h"

namespace {

const wchar_t ClassName[] = L"MFlowLogger";
const wchar_t ImplementationClassName[] = L"MFlowLoggerImplementation";
const Velta::Logging::ClassNameRegistration registrations[] = {
    Velta::Logging::ClassNameRegistration(ClassName),
    Velta::Logging::ClassNameRegistration(ImplementationClassName)};

}  // namespace

MFlowLoggerImplementation::~MFlowLoggerImplementation() = default;

void MFlowLogger::LogEvent(std::uint32_t kind, std::uint32_t value1, std::uint32_t value2,
                           std::uint32_t classKey, std::uint32_t pointKey,
                           const void* object) noexcept {
  if (implementation_ == nullptr) {
    return;
  }
  implementation_->LogEvent(kind, value1, value2, classKey, pointKey, object);
}

void MFlowLogger::Dump(std::ostream& stream) noexcept {
  if (implementation_ != nullptr) {
    implementation_->Dump(stream);
  }
}

bool MFlowLogger::DumpToFile() noexcept {
  return implementation_ != nullptr && implementation_->DumpToFile();
}

void MFlowLogger::Attach(MFlowLogger* other) noexcept {
  if (implementation_ == nullptr) {
    return;
  }
  implementation_->Attach(other != nullptr ? other->implementation_ : nullptr);
}
