// SPDX-License-Identifier: MIT
#pragma once

/// Work for a command processor.
///
/// Ownership: the processor owns a command from the moment it is queued, and deletes it after it
/// ran or, unexecuted, when the processor stops. Threads: made and destroyed anywhere, run on the
/// processor's thread.
class MCommand {
 public:
  MCommand(const MCommand&) = delete;
  MCommand& operator=(const MCommand&) = delete;
  virtual ~MCommand() = default;

  /// Runs the command. An exception from it ends the processor's thread: see `MCommandSynchronous`
  /// for commands that may fail.
  virtual void ExecuteGenericCommand() = 0;

 protected:
  MCommand() = default;
};
