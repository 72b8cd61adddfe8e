// SPDX-License-Identifier: MIT
#pragma once

#include "Settings.h"

#include <optional>
#include <string>
#include <vector>

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

  /// What is stored; nothing when nothing is. For `complaints` see `ReadState`.
  ///
  /// Errors: an `MException` when something is stored that cannot be used.
  [[nodiscard]] virtual std::optional<HostState> Load(std::vector<std::string>& complaints) = 0;

  /// Replaces what is stored.
  ///
  /// Errors: an `MException`.
  virtual void Save(const HostState& state) = 0;
};

}  // namespace host
