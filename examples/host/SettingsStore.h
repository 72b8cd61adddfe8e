// SPDX-License-Identifier: MIT
#pragma once

#include "Settings.h"
#include "velta/serialisation/FieldAccess.h"

#include <string>

namespace host {

/// Where the host keeps what it remembers.
class SettingsStore {
 public:
  SettingsStore() = default;
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;
  virtual ~SettingsStore() = default;

  /// For display, on one line, in UTF-8.
  [[nodiscard]] virtual std::string GetPlace() const = 0;

  /// What is stored; defaults where nothing is.
  ///
  /// @param problems  receives an error for each value that is wrong, and has its default
  ///
  /// Errors: an `MException` when something is stored that cannot be used.
  [[nodiscard]] virtual HostState Load(Velta::FieldProblems& problems) = 0;

  /// Replaces what is stored.
  ///
  /// Errors: an `MException`.
  virtual void Save(const HostState& state) = 0;
};

}  // namespace host
