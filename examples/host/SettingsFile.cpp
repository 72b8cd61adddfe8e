// SPDX-License-Identifier: MIT
#include "SettingsFile.h"

#include "Text.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/settings/FieldsInFile.h"

#include <filesystem>
#include <optional>

namespace host {
namespace {

const wchar_t ClassName[] = L"SettingsFile";
const Velta::Logging::ClassNameRegistration registration(ClassName);

const wchar_t kRoot[] = L"HostMemory";
const wchar_t kNamespace[] = L"urn:velta:host";

}  // namespace

SettingsFile::SettingsFile(const std::filesystem::path& path)
    : place_(DisplayName(path)), file_(path) {}

std::string SettingsFile::GetPlace() const { return place_; }

HostState SettingsFile::Load(Velta::FieldProblems& problems) {
  static MFlowPoint point(ClassName, L"Load");
  const MFlowScope scope = point.At(this).OpenScope();
  HostState state;
  static_cast<void>(LoadFields(file_, kRoot, state, problems, kNamespace));
  return state;
}

void SettingsFile::Save(const HostState& state) {
  static MFlowPoint point(ClassName, L"Save");
  const MFlowScope scope = point.At(this).OpenScope();
  MOutFilerTaggedXml filer(kRoot, kNamespace);
  WriteFields(filer, state);
  MString text;
  if (!filer.GetText(&text)) {
    point.At(this).Raise(L"NotWritten");
  }
  file_.SaveBytes(ToUtf8(text));  // SaveText would refuse half a pair in the name of a file
}

}  // namespace host
