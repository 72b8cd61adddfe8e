// SPDX-License-Identifier: MIT
#pragma once

#include "Console.h"
#include "Options.h"
#include "Settings.h"
#include "SettingsStore.h"

#include <memory>
#include <optional>
#include <string>

namespace host {

/// The settings and results that one run loads from the last and saves for the next.
///
/// A failure is reported on the console; the files are counted all the same.
class PersistentState {
 public:
  /// Loads the state from where the options say, if anywhere. Options override stored settings.
  ///
  /// @param console  outlives the object
  PersistentState(const Options& options, Console& console);
  PersistentState(const PersistentState&) = delete;
  PersistentState& operator=(const PersistentState&) = delete;
  ~PersistentState();

  [[nodiscard]] const Settings& GetSettings() const noexcept { return state_.settings; }

  /// The results of the run before this one.
  [[nodiscard]] const std::optional<RunResults>& GetLastRun() const noexcept {
    return state_.lastRun;
  }

  /// Where the state is stored, for display; empty when nothing is remembered.
  [[nodiscard]] std::string GetPlace() const;

  /// Stores the settings and this run's results, unless what was stored could not be used.
  ///
  /// @return whether the next run will find them, or is not meant to
  [[nodiscard]] bool Save(const RunResults& results);

 private:
  void Load();

  Console& console_;
  std::unique_ptr<SettingsStore> store_;  // null when nothing is remembered
  HostState state_;
  bool usable_ = true;
};

}  // namespace host
