// SPDX-License-Identifier: MIT
#pragma once

#include "SettingsStore.h"
#include "velta/text/MString.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// Keeps the memory in the registry, below the key of an application.
class SettingsRegistry final : public SettingsStore {
 public:
  explicit SettingsRegistry(MString key) : applicationKey(std::move(key)) {}

  [[nodiscard]] std::string GetPlace() const override;

  /// Errors: those of `ReadMemory`.
  [[nodiscard]] std::optional<Memory> Load(std::vector<std::string>& complaints) override;

  /// Each value is replaced as a whole. A save that fails on the way leaves newer and older values.
  ///
  /// Errors: SettingsRegistry.Save:WriteFailed.
  void Save(const Memory& memory) override;

 private:
  MString applicationKey;
};

}  // namespace host
