// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/ICrashHandler.h"
#include "velta/logging/MFlowPoint.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <semaphore>
#include <thread>

/// Writes the event log and the last errors to files when the process crashes.
///
/// A thread made beforehand writes it: a failed thread may have hardly any stack left and may hold
/// any lock. Threads that fail wait for the report, but a few seconds at most: it may need a lock
/// that one of them holds.
///
/// Make it with `new`, in `main`, and leave it: static destructors may crash as well.
class CrashReporter final : public ICrashHandler {
 public:
  /// @param logFile  for the log; the errors go beside it, with ".errors" after the name
  explicit CrashReporter(std::filesystem::path logFile);
  CrashReporter(const CrashReporter&) = delete;
  CrashReporter& operator=(const CrashReporter&) = delete;
  ~CrashReporter() = delete;

  /// @param argument  what `InstallCrashFilter` passes
  void OnUnhandledException(std::uintptr_t argument) override;

 private:
  void Report();

  const std::filesystem::path logFile_;
  const std::filesystem::path errorsFile_;
  std::ofstream stream_;  // made here: making a process's first stream takes a lock
  std::ofstream errorsStream_;
  MFlowPoint crashPoint_;
  std::atomic<std::uintptr_t> code_{0};  // 0: there is nothing to report
  std::binary_semaphore wanted_{0};
  std::binary_semaphore written_{0};
  std::thread thread_;
};
