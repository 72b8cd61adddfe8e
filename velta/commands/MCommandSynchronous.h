// SPDX-License-Identifier: MIT
#pragma once

#include "velta/commands/MCommand.h"
#include "velta/commands/MExceptionHolder.h"
#include "velta/platform/Api.h"
#include "velta/platform/Types.h"

VELTA_EXPORTS_BEGIN

/// A command whose caller waits for it (`MCommandProcessor::ExecuteSynchronously`).
///
/// Derive from it and supply `Execute`. An `MException` from `Execute` travels back to the caller
/// in the result holder and the processor goes on; any other exception ends the process. One that
/// holds no error reads as success there.
class VELTA_API MCommandSynchronous : public MCommand {
 public:
  ~MCommandSynchronous() override;

  void ExecuteGenericCommand() override;

 protected:
  /// @param resultHolder  receives the outcome; may refer to nothing, then nobody is told
  explicit MCommandSynchronous(MExceptionHolder resultHolder) noexcept;

  /// The work, on the processor's thread.
  virtual void Execute() = 0;

 private:
  friend class MCommandProcessor;

  MExceptionHolder resultHolder_;
  HANDLE completionEvent_ = nullptr;  // made and closed by the processor's waiting caller
};

VELTA_EXPORTS_END
