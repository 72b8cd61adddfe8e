// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Receives exceptions that no handler caught. The framework never calls it: it gives a host's
/// crash reporting, for example an unhandled-exception filter, one place to report to.
///
/// Ownership: never deleted through the interface.
class ICrashHandler {
 public:
  /// @param argument  pointer-sized; its meaning is up to the host that installs the crash filter
  virtual void OnUnhandledException(std::uintptr_t argument) = 0;

 protected:
  ~ICrashHandler() = default;
};
