// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/NonCopyable.h"
#include "velta/platform/Api.h"

#include <functional>

namespace Velta::Libraries {

VELTA_EXPORTS_BEGIN

/// Runs an action when its scope ends, normally or by an exception, unless dismissed.
///
/// Threads: belongs to one scope on one thread. Ownership: owns the actions it is given.
class VELTA_API GenericGuard : public NonCopyable {
 public:
  /// @param exitAction  run by `Run` or at the end of the scope; may be empty
  explicit GenericGuard(std::function<void()> exitAction);

  /// Runs `entryAction` at once, if it is not empty.
  ///
  /// When it throws, the exception goes on and the exit action is dropped unrun.
  GenericGuard(const std::function<void()>& entryAction, std::function<void()> exitAction);

  /// Runs the exit action, if it is still there.
  ///
  /// An `MException` from it is logged and dropped; any other exception ends the process.
  virtual ~GenericGuard();

  /// Drops the exit action unrun.
  void Dismiss() noexcept;

  /// Runs the exit action now, once; the scope's end then does nothing.
  ///
  /// Errors: whatever the action throws.
  void Run();

 private:
  std::function<void()> exitAction_;
};

VELTA_EXPORTS_END

}  // namespace Velta::Libraries
