// SPDX-License-Identifier: MIT
#pragma once

/// A notification that is delivered later, on a scheduler's thread.
///
/// Derive from it and carry the notification's data in the derived object.
/// Ownership: the scheduler's from `MDesyncEventScheduler::ScheduleDesyncEvent` on; it deletes the
/// event once it has fired.
class MDesyncEvent {
 public:
  MDesyncEvent(const MDesyncEvent&) = delete;
  MDesyncEvent& operator=(const MDesyncEvent&) = delete;

  /// The delivery, on the scheduler's thread. An `MException` from it is logged and dropped; any
  /// other exception ends the process.
  virtual void Fire() = 0;

  // After Fire, which is the first slot of the binary interface.
  virtual ~MDesyncEvent() = default;

 protected:
  MDesyncEvent() = default;
};
