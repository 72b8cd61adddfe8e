// SPDX-License-Identifier: MIT
#include "SettingsRegistry.h"

#include "Text.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"

namespace host {
namespace {

const wchar_t ClassName[] = L"SettingsRegistry";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

std::string SettingsRegistry::GetPlace() const {
  return "HKEY_CURRENT_USER\\Software\\Velta\\" + ToUtf8(applicationKey_);
}

std::optional<HostState> SettingsRegistry::Load(std::vector<std::string>& complaints) {
  constexpr bool kReadOnly = true;
  IInFilerTaggedRegistry filer(applicationKey_, kReadOnly);
  return ReadState(filer, complaints);
}

void SettingsRegistry::Save(const HostState& state) {
  static MFlowPoint point(ClassName, L"Save");
  const MFlowScope scope = point.At(this).OpenScope();
  IOutFilerTaggedRegistry filer(applicationKey_);
  if (!WriteState(filer, state)) {
    point.At(this).Raise(L"WriteFailed");
  }
}

}  // namespace host
