// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/NonCopyable.h"
#include "velta/platform/Api.h"
#include "velta/platform/ThreadSafety.h"
#include "velta/platform/Types.h"
#include "velta/threads/MMutex.h"

#include <atomic>
#include <cstdint>
#include <vector>

class IThreadErrorHandler;
class MCallbackFunctor;
class MFlowPoint;

VELTA_EXPORTS_BEGIN

/// A worker thread that runs an event loop: it waits for up to 64 Windows events and runs the
/// callback of whichever is signalled, one at a time, the lowest index first.
///
/// Derive from it and supply the body, `ThreadFunction`: set up, call `SignalThreadStarted`, then
/// call `WaitForEvents` until `IsStopRequested`. Not for a single job without events: that needs no
/// engine.
///
/// Life cycle: "Inactive" -> `Start` -> "Starting" -> "Running" -> `Stop` -> "Stopping" ->
/// "Inactive", and again. The object must outlive its thread. It may be destroyed as soon as `Stop`
/// has returned, also while other threads are still inside `Start`, `Stop`, `Flush` or `ForceStop`:
/// destruction waits for them. The base destructor stops a running thread, but by then the parts of
/// a derived class are gone: a derived destructor calls `EndForDestruction` first.
///
/// Threads: `Start`, `Stop` and `Flush` may be called from any thread but the engine thread itself.
/// Each waits for a start or a flush in progress; while a stop is in progress `Start` is refused,
/// `Stop` returns at once and `Flush` is served or told that the thread has ended. The engine
/// thread alone runs the body, the callbacks and the hooks.
///
/// Errors are `MException`s with the class "MEngineThread".
class VELTA_API MEngineThread : private Velta::Libraries::NonCopyable {
 public:
  enum class State : std::int32_t { Inactive = 0, Starting = 1, Running = 2, Stopping = 3 };

  /// Stops the thread if it runs, waits for other threads' control operations, and deletes the
  /// callbacks.
  virtual ~MEngineThread();

  /// Starts the thread and returns once its body has called `SignalThreadStarted`.
  ///
  /// On failure the thread is "Inactive" again.
  /// Errors: "AlreadyRunning"; "BeginThread" with "errno" when the system refuses a thread;
  /// "ThreadExitedUnexpectedly" when the body ends without having signalled; "Abandoned" and
  /// "Unexpected" with "status", "WaitFailed" with "winErrorCode".
  void Start();

  /// Asks the thread to end and waits until it has; nothing to do when it is "Inactive" or when a
  /// stop has been asked for already (it then returns without waiting).
  ///
  /// Errors: "CannotStopSelf" on the engine thread; "Abandoned"; "Unexpected" with "status";
  /// "WaitFailed" with "winErrorCode".
  void Stop();

  /// Has the engine thread run `OnFlush`, before any other pending event, and waits until it has;
  /// nothing to do when it is "Inactive".
  ///
  /// Other control operations wait for the flush to end.
  /// Errors: "CannotFlushSelf" on the engine thread; "ThreadExitedUnexpectedly" when the thread
  /// ends first, be it by a stop; "Abandoned" and "Unexpected" with "status", "WaitFailed" with
  /// "winErrorCode".
  void Flush();

  /// Stops the thread as well as it can be done. Never throws an `MException`: an error of the stop
  /// is logged and the thread counts as "Inactive" all the same. Returns at once when a stop has
  /// been asked for already, even if that one failed or is still in progress. Not for the engine
  /// thread itself, which nobody would then wait for.
  void ForceStop();

  /// Whether the state is other than "Inactive". A snapshot, taken without a lock; who gets false
  /// after a stop on another thread also sees what the engine thread wrote.
  bool IsRunning() const noexcept;

  /// Whether a stop has been asked for since the last start. Takes no lock and does not wait.
  bool IsStopRequested() const noexcept;

 protected:
  /// Makes an inactive thread.
  ///
  /// @param errorHandler           receives an `MException` that ends the body; may be null, is not
  ///                               owned, must outlive the thread
  /// @param processWindowMessages  whether `WaitForEvents` also returns for window input, which the
  ///                               body then pumps; the limit is 63 events in that case
  ///
  /// Errors: "CreateEvent" with "winErrorCode" when the system refuses an event; an `MException`
  /// holding an `MErrorOutOfMemory`.
  MEngineThread(IThreadErrorHandler* errorHandler, bool processWindowMessages);

  /// The thread's body, on the engine thread. Returning ends the thread.
  ///
  /// An `MException` from it goes to the error handler, or is dropped when there is none; any other
  /// exception ends the process.
  virtual void ThreadFunction() = 0;

  /// Runs on the engine thread for each `Flush`. An exception ends the thread.
  virtual void OnFlush();

  /// Runs on the engine thread when one of its waits is ended by the request to stop.
  ///
  /// A request that comes while a callback runs may be seen by `IsStopRequested` first. A body that
  /// relies on this being run loops until it has, or calls `OnStopWrapper` after its loop.
  virtual void OnStop();

  /// Registers an event, in the order of the wait: what is registered first is served first.
  ///
  /// Call it from a derived constructor or from the engine thread; it takes no lock. From another
  /// thread it may be called while the engine thread is inside its wait, which then begins again
  /// with the new event, but not while that thread returns from a wait or begins one.
  /// @param event     not owned; must stay open as long as the thread may wait
  /// @param callback  owned from this call on, also when it fails; not null
  ///
  /// Errors: "TooManyWaitableEvents" beyond 64.
  void AddEvent(HANDLE event, MCallbackFunctor* callback);

  /// One round of the loop: waits for an event and runs its callback.
  ///
  /// @param timeoutMs  milliseconds, all bits set for no limit
  /// @return false when the time is over, or when window input is waiting to be pumped
  ///
  /// Errors: those of the callback; "Abandoned" and "Unexpected" with "status", "WaitFailed" with
  /// "winErrorCode".
  [[nodiscard]] bool WaitForEvents(std::uint32_t timeoutMs);

  /// Tells `Start` that the body is set up. To be called once, by the body.
  void SignalThreadStarted();

  /// What a derived class's destructor calls first: `ForceStop`, then waits until no other thread
  /// is inside a control operation any more, a stop that was in progress among them.
  void EndForDestruction() noexcept;

  /// What a stop runs, on the stopping thread, once it has found the thread ended.
  using EndedAction = void (*)(MEngineThread& engine);

  /// Sets that action; null for none. For a derived class's constructor.
  ///
  /// A thread that died runs no `OnStop`: this is where those are released who wait for its work.
  void SetEndedAction(EndedAction action) noexcept { endedAction_ = action; }

  /// Stores and logs a new state.
  void ChangeState(State newState) noexcept;

  void OnFlushWrapper();
  void OnStopWrapper();
  void OnRestartEventLoop();

 private:
  class ControlCall;

  static unsigned RunThread(void* argument);

  bool IsOnEngineThread() const noexcept;
  void RegisterBuiltInEvents(MFlowPoint& point);
  void CreateThread(MFlowPoint& point) VELTA_REQUIRES(controlMutex_);
  void RunEndedAction();
  void CloseThread() noexcept VELTA_REQUIRES(controlMutex_);
  void DestroyEvents() noexcept;

  std::atomic<State> state_{State::Inactive};
  MMutex controlMutex_;
  std::atomic<std::uint32_t> threadId_{0};                         // of the thread, 0 without one
  HANDLE threadHandle_ VELTA_GUARDED_BY(controlMutex_) = nullptr;  // owned
  HANDLE flushRequestEvent_ = nullptr;
  HANDLE stopEvent_ = nullptr;
  HANDLE threadStartedEvent_ = nullptr;
  HANDLE flushDoneEvent_ = nullptr;
  HANDLE restartEvent_ = nullptr;
  std::vector<HANDLE> waitableHandles_;       // with room for all: a wait in progress reads them
  std::vector<MCallbackFunctor*> callbacks_;  // owned, parallel to the handles
  IThreadErrorHandler* threadErrorHandler_;
  bool processWindowMessages_;
  std::uint32_t startCount_ VELTA_GUARDED_BY(controlMutex_) = 0;  // tells one run from the next
  EndedAction endedAction_ = nullptr;
  std::atomic<std::uint32_t> controlCalls_{0};  // under way, on all threads
};

VELTA_EXPORTS_END
