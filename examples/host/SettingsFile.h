// SPDX-License-Identifier: MIT
#pragma once

#include "SettingsStore.h"

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// Keeps the state in an XML file.
///
/// It is written as UTF-8, with the root element "HostMemory" in the namespace "urn:velta:host".
/// What is no character, as half a pair in a file name, is stored as U+FFFD. A file that was edited
/// may have any encoding that its declaration names and `DecodeXml` knows.
class SettingsFile final : public SettingsStore {
 public:
  explicit SettingsFile(std::filesystem::path path) : path_(std::move(path)) {}

  [[nodiscard]] std::string GetPlace() const override;

  /// Errors: those of `InputFile` and `ReadState`, and of SettingsFile.Load
  /// - NotText with "problem", which names the byte;
  /// - IllFormed with "messages", the parser's own, and "offset", "line" and "column" of the first
  ///   fault that has a place;
  /// - NotSettings when it is some other document: with the same parameters, of its root element,
  ///   or none if that is as expected.
  ///
  /// And `std::bad_alloc`.
  [[nodiscard]] std::optional<HostState> Load(std::vector<std::string>& complaints) override;

  /// Replaces the file as a whole: a save that fails leaves the old one.
  ///
  /// Errors: those of `ReplaceContent`.
  void Save(const HostState& state) override;

 private:
  std::filesystem::path path_;
};

}  // namespace host
