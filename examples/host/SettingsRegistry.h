// SPDX-License-Identifier: MIT
#pragma once

#include "SettingsStore.h"
#include "velta/text/MString.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// Keeps the state in the registry, below the key of an application.
class SettingsRegistry final : public SettingsStore {
 public:
  explicit SettingsRegistry(MString applicationKey) : applicationKey_(std::move(applicationKey)) {}

  [[nodiscard]] std::string GetPlace() const override;

  /// Errors: those of `ReadState`.
  [[nodiscard]] std::optional<HostState> Load(std::vector<std::string>& complaints) override;

  /// Each value is replaced as a whole. A save that fails on the way leaves newer and older values.
  ///
  /// Errors: SettingsRegistry.Save:WriteFailed.
  void Save(const HostState& state) override;

 private:
  MString applicationKey_;
};

}  // namespace host
