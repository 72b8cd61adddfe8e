// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Hears of exceptions that no handler caught. The framework never calls it: it gives a host's
/// crash reporting, for example an unhandled-exception filter, one place to report to.
///
/// Ownership: never deleted through the interface.
class ICrashHandler {
 public:
  /// @param argument  pointer-sized; whoever installs the crash filter decides what it means
  virtual void OnUnhandledException(std::uintptr_t argument) = 0;

 protected:
  ~ICrashHandler() = default;
};
