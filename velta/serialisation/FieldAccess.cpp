// SPDX-License-Identifier: MIT
#include "velta/serialisation/FieldAccess.h"

#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/Win32.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/serialisation/internal/RegistryKey.h"
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

using Velta::Xml::DocumentAccess;

namespace Velta::Serialisation {
namespace {

const wchar_t ClassName[] = L"Fields";
const Velta::Logging::ClassNameRegistration registration(ClassName);

/// The depth of types that contain themselves is the document's choice.
constexpr std::int32_t kDeepestGroup = 200;

/// To say where a field stands, a document is read up to there.
constexpr std::size_t kMostProblems = 100;

}  // namespace

MXmlDocument* FieldAccess::DocumentOf(const IInFilerTagged& filer) noexcept {
  const auto* const xml = dynamic_cast<const MInFilerTaggedXml*>(&filer);
  return xml != nullptr ? xml->document_.get() : nullptr;
}

bool FieldAccess::Find(IInFilerTagged& filer, const MString& tag) {
  if (MXmlDocument* const document = DocumentOf(filer)) {
    return DocumentAccess::MoveBefore(*document, tag);
  }
  const auto* const registry = dynamic_cast<const IInFilerTaggedRegistry*>(&filer);
  if (registry == nullptr || !IsWholeName(tag)) {
    return false;
  }
  const RegistryKey group = OpenGroupKey(*registry, registry->applicationKeyName_,
                                         registry->groups_, RegistryUse::kReadOnly);
  return group.IsOpen() && (::RegQueryValueExW(group.Get(), tag.c_str(), nullptr, nullptr, nullptr,
                                               nullptr) == ERROR_SUCCESS ||
                            OpenForReading(group.Get(), tag).IsOpen());
}

bool FieldAccess::BeginGroup(IInFilerTagged& filer, const MString& tag) {
  if (const auto* const xml = dynamic_cast<const MInFilerTaggedXml*>(&filer)) {
    return xml->depth_ < kDeepestGroup && filer.BeginGroup(tag);
  }
  if (!filer.BeginGroup(tag)) {
    return false;
  }
  const auto* const registry = dynamic_cast<const IInFilerTaggedRegistry*>(&filer);
  if (registry == nullptr || OpenGroupKey(*registry, registry->applicationKeyName_,
                                          registry->groups_, RegistryUse::kReadOnly)
                                 .IsOpen()) {
    return true;
  }
  static_cast<void>(filer.EndGroup());
  return false;
}

void FieldAccess::Rewind(IInFilerTagged& filer) {
  if (MXmlDocument* const document = DocumentOf(filer)) {
    DocumentAccess::MoveToStart(*document);
  }
}

std::vector<MString> FieldAccess::TakeOthers(IInFilerTagged& filer,
                                             const std::vector<std::wstring_view>& names) {
  std::vector<MString> others;
  if (MXmlDocument* const document = DocumentOf(filer)) {
    DocumentAccess::MoveToStart(*document);
    while (document->FindElement()) {
      if (std::find(names.begin(), names.end(), document->GetTagName()) == names.end()) {
        others.emplace_back(document->GetNodeText());
      }
    }
  }
  return others;
}

bool FieldAccess::WriteOthers(IOutFilerTagged& filer, const std::vector<MString>& others) {
  const auto* const xml = dynamic_cast<const MOutFilerTaggedXml*>(&filer);
  return xml == nullptr || (xml->document_ != nullptr &&
                            std::all_of(others.begin(), others.end(), [xml](const MString& other) {
                              return DocumentAccess::AddDocument(*xml->document_, other);
                            }));
}

/// Says which field an error is about, as far as the filer knows.
void FieldAccess::AddPlace(MError& error, IInFilerTagged& filer, const MString& tag) {
  if (MXmlDocument* const document = DocumentOf(filer)) {
    error.AddParameter(L"field", DocumentAccess::PathOfLevel(*document) + tag);
    if (DocumentAccess::MoveBefore(*document, tag)) {
      std::int32_t line = 0;
      std::int32_t column = 0;
      document->GetLineAndColumn(DocumentAccess::OffsetOfNext(*document), &line, &column);
      error.AddParameter(L"line", line);
      error.AddParameter(L"column", column);
    }
    return;
  }
  error.AddParameter(L"field", tag);
  if (const auto* const registry = dynamic_cast<const IInFilerTaggedRegistry*>(&filer)) {
    error.AddParameter(L"key",
                       NameOfGroupKey(*registry, registry->applicationKeyName_, registry->groups_));
  }
}

void FieldAccess::AddProblem(FieldProblems& problems, IInFilerTagged& filer, const MString& tag,
                             bool isThere) {
  static MFlowPoint point(ClassName, L"Read");
  if (problems.size() < kMostProblems) {
    MError error = isThere ? point.At(nullptr).MakeRootError(L"Unreadable")
                           : point.At(nullptr).MakeRootError(L"Missing");
    AddPlace(error, filer, tag);
    problems.push_back(error);
  }
}

void FieldAccess::AddNotAllowed(FieldProblems& problems, IInFilerTagged& filer, const MString& tag,
                                const MString& value, const MString& allowed) {
  static MFlowPoint point(ClassName, L"Read");
  if (problems.size() < kMostProblems) {
    MError error =
        point.At(nullptr).MakeRootError(L"NotAllowed", {{L"value", value}, {L"allowed", allowed}});
    AddPlace(error, filer, tag);
    problems.push_back(error);
  }
}

void FieldAccess::RaiseProblems(const FieldProblems& problems) {
  MError first = problems.front();
  if (problems.size() > 1) {
    first.AddParameter(L"problems", problems.size());
  }
  throw MException(first);
}

void FieldAccess::RaiseNotStored(const MString& tag) {
  static MFlowPoint point(ClassName, L"Write");
  point.At(nullptr).Raise(L"NotStored", {{L"field", tag}});
}

void FieldAccess::RaiseNotAllowed(const MString& tag, const MString& value,
                                  const MString& allowed) {
  static MFlowPoint point(ClassName, L"Write");
  point.At(nullptr).Raise(L"NotAllowed",
                          {{L"field", tag}, {L"value", value}, {L"allowed", allowed}});
}

std::optional<std::uint32_t> FieldAccess::ReadDword(IInFilerTaggedRegistry& filer,
                                                    const MString& tag) {
  std::uint32_t number = 0;
  std::uint32_t type = 0;
  return filer.ReadNumber(tag, &number, &type) && type == REG_DWORD ? std::optional(number)
                                                                    : std::nullopt;
}

}  // namespace Velta::Serialisation
