// SPDX-License-Identifier: MIT
#pragma once

#include "velta/commands/MDesyncEvent.h"
#include "velta/errors/NonCopyable.h"
#include "velta/platform/Api.h"
#include "velta/threads/MSchedulerThread.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <memory>

class IThreadErrorHandler;

VELTA_EXPORTS_BEGIN

/// Delivers notifications on a thread of its own, one at a time, in the order they were scheduled,
/// so that who raises a notification never runs its receiver's code.
///
/// `Enable` it, schedule from any threads, `Disable` it. While it is disabled notifications wait.
/// Events still queued when it is destroyed are neither fired nor deleted: disable it only after
/// the last has been delivered. It may then be destroyed at once, even while the producer of that
/// event is still on its way out of `ScheduleDesyncEvent`.
///
/// Threads: `ScheduleDesyncEvent` from any thread, at any time; `Enable` and `Disable` from its
/// owner's, not from within a delivery.
class VELTA_API MDesyncEventScheduler : private Velta::Libraries::NonCopyable {
 public:
  /// A disabled scheduler.
  ///
  /// @param errorHandler  as for `MEngineThread`
  ///
  /// Errors: an `MException` holding an `MErrorOutOfMemory`.
  explicit MDesyncEventScheduler(IThreadErrorHandler* errorHandler);

  /// Disables it. Never throws an `MException`: an error of disabling is logged and dropped.
  /// Destroy it through its own class or a derived one that disables it first.
  ~MDesyncEventScheduler();

  /// Starts delivery, first of what has been scheduled before.
  ///
  /// Errors: those of `MEngineThread::Start`, "AlreadyRunning" among them.
  void Enable();

  /// Waits for the delivery in progress and stops. What is still queued stays queued.
  ///
  /// Nothing to do when it is disabled.
  /// Errors: those of `MEngineThread::Flush` and `Stop`.
  void Disable();

  /// Queues a notification.
  ///
  /// @param event  owned from this call on, also when it fails; null is ignored
  ///
  /// Errors: an `MException` holding an `MErrorOutOfMemory`.
  void ScheduleDesyncEvent(MDesyncEvent* event);

  /// Delivers everything that is queued, also what is queued meanwhile. Called on the scheduler's
  /// thread when there is something.
  virtual void OnSchedulerEvent();

 private:
  std::unique_ptr<MDesyncEvent> PopEvent();

  MSchedulerThread schedulerThread_;
  MThreadSafeFifo<MDesyncEvent*, MDesyncEvent*> eventQueue_;
};

VELTA_EXPORTS_END
