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

HostState SettingsRegistry::Load(Velta::FieldProblems& problems) {
  constexpr bool kReadOnly = true;
  IInFilerTaggedRegistry filer(applicationKey_, kReadOnly);
  HostState state;
  ReadFields(filer, state, problems);
  return state;
}

void SettingsRegistry::Save(const HostState& state) {
  static MFlowPoint point(ClassName, L"Save");
  const MFlowScope scope = point.At(this).OpenScope();
  IOutFilerTaggedRegistry filer(applicationKey_);
  WriteFields(filer, state);
}

}  // namespace host
