// SPDX-License-Identifier: MIT
#pragma once

#include "SettingsStore.h"
#include "velta/text/MString.h"

#include <string>
#include <utility>

namespace host {

/// Keeps the state in the registry, below the key of an application.
class SettingsRegistry final : public SettingsStore {
 public:
  explicit SettingsRegistry(MString applicationKey) : applicationKey_(std::move(applicationKey)) {}

  [[nodiscard]] std::string GetPlace() const override;

  [[nodiscard]] HostState Load(Velta::FieldProblems& problems) override;

  /// Each value is replaced as a whole. A save that fails on the way leaves newer and older values.
  ///
  /// Errors: those of `WriteFields`.
  void Save(const HostState& state) override;

 private:
  MString applicationKey_;
};

}  // namespace host
