// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/ICrashHandler.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <semaphore>
#include <thread>

/// Writes the event log to a file when the process crashes.
///
/// A thread of its own does so, made beforehand: the one that failed may have hardly any stack left
/// and is kept waiting for a few seconds at most, should the report need a lock that it holds.
class CrashReporter final : public ICrashHandler {
 public:
  explicit CrashReporter(std::filesystem::path logFile);
  CrashReporter(const CrashReporter&) = delete;
  CrashReporter& operator=(const CrashReporter&) = delete;
  ~CrashReporter();

  /// @param argument  what `InstallCrashFilter` passes
  void OnUnhandledException(std::uintptr_t argument) override;

 private:
  void Report();

  const std::filesystem::path file;
  std::atomic<std::uintptr_t> code{0};  // 0: there is nothing to report
  std::binary_semaphore wanted{0};
  std::binary_semaphore written{0};
  std::thread thread;
};
