// SPDX-License-Identifier: MIT
#pragma once

#include "velta/commands/MCommand.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/platform/Api.h"
#include "velta/platform/Types.h"
#include "velta/threads/MCallbackFunctor.h"
#include "velta/threads/MEngineThread.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <cstdint>
#include <memory>

class IThreadErrorHandler;

VELTA_EXPORTS_BEGIN

/// An engine thread that runs commands one after another, in the order they were queued, while
/// their callers wait.
///
/// `Start` it, call `ExecuteSynchronously` from any threads, `Stop` it: the processor executes
/// until it finds its queue empty, and from then on refuses callers, for good. Make a new one
/// rather than starting it again. Not for notifications that nobody waits for: see
/// `MDesyncEventScheduler`.
///
/// A flush and a stop take precedence over queued commands. Both go on while the queue is not
/// empty, so callers that keep calling keep them waiting without bound: to stop within the time of
/// what is queued, have the callers stop first, by a flag that they look at before each call.
///
/// It may be destroyed as soon as `Stop` has returned, even while callers that the stop released
/// are still inside `ExecuteSynchronously`.
///
/// Threads: commands, hooks, `OnFlush` and `OnStop` run on the processor's thread only, one at a
/// time. Errors are `MException`s with the class "MCommandProcessor", those of the control
/// operations with "MEngineThread".
class VELTA_API MCommandProcessor : public MEngineThread {
 public:
  /// Makes a processor whose thread does not run yet.
  ///
  /// The processor owns the hooks from this call on, also when it fails; each may be null.
  /// @param errorHandler           as for `MEngineThread`
  /// @param threadStartHook        runs first on the thread, before `Start` returns; an exception
  ///                               from it makes `Start` fail
  /// @param threadExitHook         runs last on the thread, before `Stop` returns
  /// @param idleHook               runs whenever a wait times out; an `MException` from it is
  ///                               logged and dropped
  /// @param idleTimeoutMs          milliseconds of each wait; 0 for no limit, so that the idle hook
  ///                               runs for window input only
  /// @param processWindowMessages  as for `MEngineThread`; the idle hook is then the place to pump
  ///
  /// Errors: "CreateEvent" with "winErrorCode" when the system refuses an event; an `MException`
  /// holding an `MErrorOutOfMemory`.
  MCommandProcessor(IThreadErrorHandler* errorHandler, MCallbackFunctor* threadStartHook,
                    MCallbackFunctor* threadExitHook, MCallbackFunctor* idleHook,
                    std::uint32_t idleTimeoutMs, bool processWindowMessages);

  /// Stops the thread if it runs and releases everybody who waits for a command. Commands that are
  /// queued on a processor that does not run are not deleted.
  ~MCommandProcessor() override;

  /// Has the processor's thread run a command and waits until it has.
  ///
  /// On return the command is deleted or about to be, and its outcome is in its result holder.
  /// Returns at once when `command` is null and the processor not stopped. Waits for ever when
  /// called on the processor's own thread, and until the destructor on a processor that is never
  /// started. When a command's exception has ended the thread, whoever waits is released by
  /// whatever ends the processor: `Stop`, `ForceStop` or the destructor.
  ///
  /// @param command  cleared once the command is queued, which hands it over; if the call fails
  ///                 before that, it stays with the caller
  ///
  /// Errors: "ProcessorStopped" when the processor has been stopped; "CommandProcessingAborted"
  /// when it is stopped before the command ran, which then never runs; an `MErrorOutOfMemory`.
  /// "WaitFailed" with "winErrorCode" when the system has no event for the wait: the command stays
  /// with the caller. "Abandoned" and "WaitFailed" with "winErrorCode" when the wait itself fails:
  /// `command` is cleared then, the command is still queued or running, and must own what it works
  /// on.
  void ExecuteSynchronously(std::unique_ptr<MCommandSynchronous>& command);

  /// Whether the processor has been stopped. Takes no lock and does not wait.
  ///
  /// Errors: "ErrorAccessingEvent" with "winErrorCode".
  bool IsAborted() const;

  /// Refuses work from now on, releases everybody who waits for a command, and deletes every queued
  /// command unexecuted. `Stop` does this on the processor's thread once the queue is flushed, or
  /// in its place when that thread has died.
  ///
  /// Not for another thread while a command runs: its caller would be released before it ends.
  void Abort();

 protected:
  void ThreadFunction() override;
  void OnFlush() override;
  void OnStop() override;

  /// The queue's input, for a processor that also takes commands whose callers do not wait.
  ///
  /// What is pushed is the processor's, which runs and deletes it, or deletes it in `Abort`. What
  /// is pushed after the thread has ended stays queued: a restarted thread runs it, a destroyed
  /// processor leaves it undeleted.
  MThreadSafeFifoInput<MCommand*, MCommand*>& GetCommandInput() noexcept;

 private:
  class CommandQueue;

  MCommandProcessor(IThreadErrorHandler* errorHandler,
                    std::unique_ptr<MCallbackFunctor> threadStartHook,
                    std::unique_ptr<MCallbackFunctor> threadExitHook,
                    std::unique_ptr<MCallbackFunctor> idleHook, std::uint32_t idleTimeoutMs,
                    bool processWindowMessages);

  static void AbortUnlessAborted(MEngineThread& engine);

  std::unique_ptr<MCommand> PopCommand();
  void OnCommandQueued();

  std::unique_ptr<MCallbackFunctor> threadStartHook_;
  std::unique_ptr<MCallbackFunctor> threadExitHook_;
  std::unique_ptr<MCallbackFunctor> idleHook_;
  std::uint32_t idleTimeoutMs_;
  std::shared_ptr<CommandQueue>
      commandQueue_;             // shared with callers, who may outlast the processor
  HANDLE abortEvent_ = nullptr;  // the queue's; once set it stays set
  bool stopServed_ = false;      // in this run; the processor's thread alone uses it
};

VELTA_EXPORTS_END
