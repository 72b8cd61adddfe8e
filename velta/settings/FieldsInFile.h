// SPDX-License-Identifier: MIT
#pragma once

#include "velta/serialisation/Described.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/settings/MSettingsFile.h"
#include "velta/text/MString.h"

#include <memory>

/// Reads the fields of a described value from a file's root element, all or nothing.
///
/// ```cpp
/// const MSettingsFile file(path);
/// Settings settings;
/// const bool isThere = LoadFields(file, L"Viewer", settings);
/// ...
/// SaveFields(file, L"Viewer", settings);
/// ```
///
/// @param rootName       the root element's name
/// @param namespaceText  its namespace; not looked at when empty
/// @return false, with `value` as it was, when there is no file
///
/// Errors: those of `MSettingsFile::LoadFiler`, and of `ReadFields`; `value` is then as it was.
template <Velta::Described T>
[[nodiscard]] bool LoadFields(const MSettingsFile& file, const MString& rootName, T& value,
                              const MString& namespaceText = MString()) {
  const std::unique_ptr<MInFilerTaggedXml> filer = file.LoadFiler(rootName, namespaceText);
  if (filer != nullptr) {
    ReadFields(*filer, value);
  }
  return filer != nullptr;
}

/// The same, leaving as it was what is wrong.
///
/// @param problems  receives an error for each field that is wrong (`ReadFields`)
///
/// Errors: those of `MSettingsFile::LoadFiler`; `value` is then as it was.
template <Velta::Described T>
[[nodiscard]] bool LoadFields(const MSettingsFile& file, const MString& rootName, T& value,
                              Velta::FieldProblems& problems,
                              const MString& namespaceText = MString()) {
  const std::unique_ptr<MInFilerTaggedXml> filer = file.LoadFiler(rootName, namespaceText);
  if (filer != nullptr) {
    ReadFields(*filer, value, problems);
  }
  return filer != nullptr;
}

/// Replaces the file by the fields of a described value, as a whole or not at all.
///
/// Errors: those of `WriteFields` and of `MSettingsFile::SaveFiler`.
template <Velta::Described T>
void SaveFields(const MSettingsFile& file, const MString& rootName, const T& value,
                const MString& namespaceText = MString()) {
  MOutFilerTaggedXml filer(rootName, namespaceText);
  WriteFields(filer, value);
  file.SaveFiler(filer);
}
