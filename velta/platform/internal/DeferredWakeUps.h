// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#if !defined(_WIN32)
#include "velta/platform/posix/WakeList.h"
#endif

namespace Velta::Platform {

/// Sets events under a lock, and wakes their waiters after the lock has been released.
///
/// A thread that is woken under the lock often takes over the processor, only to find the lock
/// taken and to go back to sleep: two changes of threads for nothing. Declare one before the
/// lock's guard, in a scope that nowhere blocks after a set:
///
/// ```cpp
/// DeferredWakeUps wakeUps;
/// const MMutexGuard lock(mutex);
/// ...
/// wakeUps.SetEvent(dataEvent);
/// ```
///
/// The events are set at once; only threads that sleep wake later. Windows needs none of this:
/// there it is a plain `SetEvent`.
class DeferredWakeUps {
 public:
  DeferredWakeUps() noexcept = default;
  DeferredWakeUps(const DeferredWakeUps&) = delete;
  DeferredWakeUps& operator=(const DeferredWakeUps&) = delete;

#if defined(_WIN32)
  void SetEvent(HANDLE event) noexcept { ::SetEvent(event); }
#else
  ~DeferredWakeUps() { wakeUps_.WakeAll(); }

  void SetEvent(HANDLE event) noexcept { Posix::SetEventAndNote(event, &wakeUps_); }

 private:
  Posix::WakeList wakeUps_;
#endif
};

}  // namespace Velta::Platform
