// SPDX-License-Identifier: MIT
#pragma once

class MException;

/// Receives errors that arise where nobody is left to catch them.
///
/// Ownership: never deleted through the interface; must outlive whatever was given it.
class ISpontaneousErrorHandler {
 public:
  /// An `MException` left a thread's body and ended the thread.
  ///
  /// Called on the thread that failed, before it ends. Copy the exception to keep it: it is valid
  /// during the call only. Whatever this throws ends the process.
  virtual void OnSpontaneousError(const MException& exception) = 0;

 protected:
  ~ISpontaneousErrorHandler() = default;
};
