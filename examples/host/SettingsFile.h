// SPDX-License-Identifier: MIT
#pragma once

#include "SettingsStore.h"
#include "velta/settings/MSettingsFile.h"

#include <filesystem>
#include <string>

namespace host {

/// Keeps the state in an XML file.
///
/// It is written as UTF-8, with the root element "HostMemory" in the namespace "urn:velta:host".
/// What is no character, as half a pair in a file name, is stored as U+FFFD. A file that was edited
/// may have any encoding that its declaration names and `DecodeXml` knows.
class SettingsFile final : public SettingsStore {
 public:
  /// Errors: those of `MSettingsFile`.
  explicit SettingsFile(const std::filesystem::path& path);

  [[nodiscard]] std::string GetPlace() const override;

  /// Errors: those of `MSettingsFile::LoadFiler`, and `std::bad_alloc`.
  [[nodiscard]] HostState Load(Velta::FieldProblems& problems) override;

  /// Replaces the file as a whole: a save that fails leaves the old one.
  ///
  /// Errors: those of `MSettingsFile::SaveBytes`.
  void Save(const HostState& state) override;

 private:
  const std::string place_;
  const MSettingsFile file_;
};

}  // namespace host
