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

/// What one run remembers of earlier ones, and leaves to the next.
///
/// Whatever goes wrong is told on the console and keeps no files from being counted.
class RunMemory {
 public:
  /// Loads what is stored where the options say, if anywhere; they count more than what is stored.
  ///
  /// @param standardStreams  outlives the object
  RunMemory(const Options& options, Console& standardStreams);
  RunMemory(const RunMemory&) = delete;
  RunMemory& operator=(const RunMemory&) = delete;
  ~RunMemory();

  [[nodiscard]] const Settings& GetSettings() const noexcept { return memory.settings; }

  /// The results of the run before this one.
  [[nodiscard]] const std::optional<RunResults>& GetLastRun() const noexcept {
    return memory.lastRun;
  }

  /// Where the memory is, for display; empty when nothing is remembered.
  [[nodiscard]] std::string GetPlace() const;

  /// Stores the settings and this run's results, unless what was stored could not be used.
  ///
  /// @return whether the next run will find them, or is not meant to
  [[nodiscard]] bool Keep(const RunResults& results);

 private:
  void Load();

  Console& console;
  std::unique_ptr<SettingsStore> store;  // null when nothing is remembered
  Memory memory;
  bool usable = true;
};

}  // namespace host
