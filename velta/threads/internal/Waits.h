// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/platform/internal/Win32.h"

#include <atomic>
#include <cstdint>
#include <initializer_list>

namespace Velta::Threads {

/// How a wait ended. The last error is read at once: logging or unlocking could replace it.
struct WaitOutcome {
  DWORD result;
  DWORD lastError;
};

inline WaitOutcome ObserveWait(DWORD result) noexcept { return {result, ::GetLastError()}; }

/// Waits without a time-out for any one of the handles; the lowest signalled index wins.
inline WaitOutcome WaitForAny(std::initializer_list<HANDLE> handles) noexcept {
  return ObserveWait(Platform::systemCalls.waitForAny.load(std::memory_order_relaxed)(
      static_cast<DWORD>(handles.size()), handles.begin(), INFINITE));
}

inline WaitOutcome WaitForOne(HANDLE handle, DWORD timeoutMs) noexcept {
  return ObserveWait(
      Platform::systemCalls.waitForSingle.load(std::memory_order_relaxed)(handle, timeoutMs));
}

/// Whether an "Abandoned" error carries the wait's result.
enum class AbandonedError : std::uint8_t { kWithStatus, kWithoutStatus };

/// Raises the error for a wait whose result is none of the expected ones: "Abandoned" for one of
/// the `handleCount` handles, "WaitFailed" with "winErrorCode", else "Unexpected" with "status".
[[noreturn]] inline void RaiseWaitError(MFlowPoint& point, const WaitOutcome& outcome,
                                        DWORD handleCount, AbandonedError abandonedError) {
  if (outcome.result >= WAIT_ABANDONED_0 && outcome.result < WAIT_ABANDONED_0 + handleCount) {
    if (abandonedError == AbandonedError::kWithoutStatus) {
      point.Raise(L"Abandoned");
    }
    point.Raise(L"Abandoned", L"status", outcome.result);
  }
  if (outcome.result == WAIT_FAILED) {
    point.Raise(L"WaitFailed", L"winErrorCode", outcome.lastError);
  }
  point.Raise(L"Unexpected", L"status", outcome.result);
}

}  // namespace Velta::Threads
