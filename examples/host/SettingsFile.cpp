// SPDX-License-Identifier: MIT
#include "SettingsFile.h"

#include "InputFile.h"
#include "ReplaceContent.h"
#include "Text.h"
#include "examples/shared/TextDecoding.h"
#include "velta/errors/MError.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <cstddef>
#include <new>
#include <system_error>

namespace host {
namespace {

namespace fs = std::filesystem;

const wchar_t ClassName[] = L"SettingsFile";
const Velta::Logging::ClassNameRegistration registration(ClassName);

const wchar_t kRoot[] = L"HostMemory";
const wchar_t kNamespace[] = L"urn:velta:host";

std::string ReadBytes(const fs::path& path) {
  constexpr std::size_t kBlockBytes = 4096;  // more than the host writes
  InputFile file(path);
  std::vector<unsigned char> block(kBlockBytes);
  std::string bytes;
  while (const std::size_t length = file.ReadBlock(block)) {
    bytes.append(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(length));
  }
  return bytes;
}

/// A filer without a document gives defaults, which must not take the place of what is stored.
void RequireDocument(MFlowPoint& point, const MInFilerTaggedXml& filer) {
  using Kind = MInFilerTaggedXml::FaultKind;
  if (filer.HasDocument()) {
    return;
  }
  const MInFilerTaggedXml::Fault& fault = filer.GetFault();
  if (fault.kind == Kind::kMemory) {
    throw std::bad_alloc();
  }
  MError error = point.MakeRootError(fault.kind == Kind::kText ? L"IllFormed" : L"NotSettings");
  error.AddParameter(L"messages", fault.message);
  if (fault.offset >= 0) {
    error.AddParameter(L"offset", fault.offset);
    error.AddParameter(L"line", fault.line);
    error.AddParameter(L"column", fault.column);
  }
  point.Throw(error);
}

}  // namespace

std::string SettingsFile::GetPlace() const { return DisplayName(path_); }

std::optional<HostState> SettingsFile::Load(std::vector<std::string>& complaints) {
  static MFlowPoint point(ClassName, L"Load");
  const MFlowScope scope = point.At(this).OpenScope();
  std::error_code ignored;  // shows when the file is opened
  if (fs::status(path_, ignored).type() == fs::file_type::not_found) {
    return std::nullopt;
  }

  const DecodedText decoded = DecodeXml(ReadBytes(path_));
  if (!decoded.problem.empty()) {
    point.At(this).Raise(L"NotText", L"problem", decoded.problem);
  }
  MInFilerTaggedXml filer(decoded.text, kRoot, kNamespace);
  RequireDocument(point.At(this), filer);
  std::optional<HostState> state = ReadState(filer, complaints);
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
  ReplaceContent(path_, ToUtf8(text));
}

}  // namespace host
