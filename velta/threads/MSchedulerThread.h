// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/platform/Types.h"
#include "velta/threads/MEngineThread.h"

class IThreadErrorHandler;
class MCallbackFunctor;

/// An engine thread that does nothing but run the callbacks of the events registered with it.
///
/// Register events, `Start`, signal the events; what was registered first is served first. On
/// Windows the thread is in the COM multithreaded apartment for its whole life, so callbacks may
/// use COM. An exception that leaves a callback ends the thread: callbacks catch what they can
/// handle.
class VELTA_API MSchedulerThread : public MEngineThread {
 public:
  /// @param errorHandler  as for `MEngineThread`
  explicit MSchedulerThread(IThreadErrorHandler* errorHandler);

  /// Stops the thread if it runs.
  ~MSchedulerThread() override;

  /// Registers an event and what to run when it is signalled.
  ///
  /// Allowed only while the thread is not running, before the first start or after a stop.
  /// @param event     not owned; must stay open until the thread is stopped for good
  /// @param callback  owned from this call on, also when it fails; not null
  ///
  /// Errors: MSchedulerThread.RegisterSchedulerEvent:ThreadRunning;
  /// MEngineThread.AddEvent:TooManyWaitableEvents; an `MErrorOutOfMemory`.
  void RegisterSchedulerEvent(HANDLE event, MCallbackFunctor* callback);

 protected:
  void ThreadFunction() override;
};
