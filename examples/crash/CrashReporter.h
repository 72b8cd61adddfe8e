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

/// Writes the event log to a file when the process crashes.
///
/// A thread of its own does so, made beforehand: one that failed may have hardly any stack left and
/// hold any lock. All that fail are kept waiting for it, for a few seconds at most, should the
/// report need a lock that one of them holds.
///
/// Make it with `new`, in `main`, and leave it: static destructors may crash as well.
class CrashReporter final : public ICrashHandler {
 public:
  explicit CrashReporter(std::filesystem::path logFile);
  CrashReporter(const CrashReporter&) = delete;
  CrashReporter& operator=(const CrashReporter&) = delete;
  ~CrashReporter() = delete;

  /// @param argument  what `InstallCrashFilter` passes
  void OnUnhandledException(std::uintptr_t argument) override;

 private:
  void Report();

  const std::filesystem::path file;
  std::ofstream stream;  // a first one needs a lock that static destructors run under
  MFlowPoint crashPoint;
  std::atomic<std::uintptr_t> code{0};  // 0: there is nothing to report
  std::binary_semaphore wanted{0};
  std::binary_semaphore written{0};
  std::thread thread;
};
