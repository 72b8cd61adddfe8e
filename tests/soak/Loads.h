// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

/// What the loads have done so far, and the first thing that went wrong.
struct Tally {
  std::atomic<bool> ending{false};
  std::atomic<std::uint64_t> submitted{0}, executed{0};   // commands
  std::atomic<std::uint64_t> failed{0}, reported{0};      // of these with an error
  std::atomic<std::uint64_t> scheduled{0}, delivered{0};  // notifications
  std::atomic<std::uint64_t> stored{0};                   // settings, read back equal
  std::atomic<std::uint64_t> dumps{0}, records{0};

  /// Ends the run; the first fault is kept.
  void Fail(const std::string& text);
  [[nodiscard]] bool HasFailed() const noexcept { return faulty; }

  /// Read when every load has ended.
  [[nodiscard]] const std::string& GetFault() const noexcept { return fault; }

 private:
  std::atomic<bool> faulty{false};
  std::string fault;
};

// Each runs until `ending`, at full rate, and proves what comes back.
void SubmitCommands(Tally& tally);         ///< two callers, one command in a hundred fails
void ScheduleNotifications(Tally& tally);  ///< two producers
void StoreSettings(Tally& tally);          ///< XML and registry in turns
void DumpLog(Tally& tally);
