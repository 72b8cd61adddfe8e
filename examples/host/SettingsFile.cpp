// SPDX-License-Identifier: MIT
#include "SettingsFile.h"

#include "Text.h"
#include "velta/errors/MError.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <memory>

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

std::optional<HostState> SettingsFile::Load(std::vector<std::string>& complaints) {
  static MFlowPoint point(ClassName, L"Load");
  const MFlowScope scope = point.At(this).OpenScope();
  const std::unique_ptr<MInFilerTaggedXml> filer = file_.LoadFiler(kRoot, kNamespace);
  if (filer == nullptr) {
    return std::nullopt;
  }
  std::optional<HostState> state = ReadState(*filer, complaints);
  if (!state) {
    point.At(this).Raise(L"NotSettings");
  }
  return state;
}

void SettingsFile::Save(const HostState& state) {
  static MFlowPoint point(ClassName, L"Save");
  const MFlowScope scope = point.At(this).OpenScope();
  MOutFilerTaggedXml filer(kRoot, kNamespace);
  MString text;
  if (!WriteState(filer, state) || !filer.GetText(&text)) {
    point.At(this).Raise(L"NotWritten");
  }
  file_.SaveBytes(ToUtf8(text));  // SaveText would refuse half a pair in the name of a file
}

}  // namespace host
