// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/SystemCallOverride.h"
#include "tests/support/ThreadKit.h"
#include "velta/platform/internal/SystemCalls.h"

#include <thread>
#include <utility>

/// What happens to one wait.
struct WaitScript {
  HANDLE begun = nullptr;      ///< an event to set when the wait begins
  HANDLE* watched = nullptr;   ///< receives the wait's first handle
  bool endsByScript = false;   ///< whether its end is the script's, not the system's
  bool waitsBefore = false;    ///< whether it then waits all the same before
  DWORD result = WAIT_FAILED;  ///< the end
  DWORD lastError = 0;
};

/// Lets a test lead the framework's waits while in scope: each script is followed by the next wait
/// that the same thread makes through the system call table, and by no other.
class ScriptedWaits {
 public:
  static inline thread_local WaitScript nextSingle;
  static inline thread_local WaitScript nextAny;

  static WaitScript EndingWith(DWORD result, DWORD lastError = 0) {
    WaitScript script;
    script.endsByScript = true;
    script.result = result;
    script.lastError = lastError;
    return script;
  }

  /// Runs `action` on a thread of its own and returns as soon as that begins a wait for one handle
  /// (`Stop`) or for any of several (`Start`, `Flush`, `ExecuteSynchronously`).
  template <class Action>
  static std::thread UntilItWaitsForOne(Action action) {
    return UntilItWaits([] { return &nextSingle; }, std::move(action));
  }
  template <class Action>
  static std::thread UntilItWaitsForAny(Action action) {
    return UntilItWaits([] { return &nextAny; }, std::move(action));
  }

 private:
  template <class Next, class Action>
  static std::thread UntilItWaits(Next next, Action action) {
    const TestEvent begun;
    std::thread thread([next, action = std::move(action), handle = begun.Handle()]() mutable {
      next()->begun = handle;
      action();
    });
    begun.Wait();
    return thread;
  }

  template <class Wait>
  static DWORD Follow(WaitScript& next, HANDLE first, Wait wait) {
    const WaitScript script = std::exchange(next, WaitScript());
    if (script.watched != nullptr) {
      *script.watched = first;
    }
    if (script.begun != nullptr) {
      ::SetEvent(script.begun);
    }
    if (!script.endsByScript) {
      return wait();
    }
    if (script.waitsBefore) {
      wait();
    }
    ::SetLastError(script.lastError);
    return script.result;
  }

  static DWORD Single(HANDLE handle, DWORD timeoutMs) {
    return Follow(nextSingle, handle, [=] { return ::WaitForSingleObject(handle, timeoutMs); });
  }

  static DWORD Any(DWORD count, const HANDLE* handles, DWORD timeoutMs) {
    return Follow(nextAny, handles[0],
                  [=] { return ::WaitForMultipleObjects(count, handles, FALSE, timeoutMs); });
  }

  static DWORD AnyOrInput(DWORD count, const HANDLE* handles, DWORD timeoutMs) {
    return Follow(nextAny, handles[0], [=] {
      return ::MsgWaitForMultipleObjectsEx(count, handles, timeoutMs, QS_ALLINPUT,
                                           MWMO_INPUTAVAILABLE);
    });
  }

  const SystemCallOverride<Velta::Platform::SystemCalls::WaitForSingle> single{
      Velta::Platform::systemCalls.waitForSingle, &Single};
  const SystemCallOverride<Velta::Platform::SystemCalls::WaitForMultiple> any{
      Velta::Platform::systemCalls.waitForAny, &Any};
  const SystemCallOverride<Velta::Platform::SystemCalls::WaitForMultiple> anyOrInput{
      Velta::Platform::systemCalls.waitForAnyOrInput, &AnyOrInput};
};
