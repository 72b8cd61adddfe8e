// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/platform/internal/Win32.h"

#include <atomic>
#include <cstdint>

namespace Velta::Threads {

/// Whether a wait that an event ends leaves it signalled.
enum class EventReset : std::uint8_t { kAutomatic, kManual };

/// Makes an unnamed event, not signalled; the caller closes it.
///
/// Errors: "CreateEvent" with "winErrorCode" when the system has none to give.
inline HANDLE MakeEvent(MFlowPoint& point, EventReset reset) {
  const HANDLE event = Platform::systemCalls.createEvent.load(std::memory_order_relaxed)(
      reset == EventReset::kManual ? TRUE : FALSE, FALSE);
  if (event == nullptr) {
    const DWORD lastError = ::GetLastError();  // first: nothing may run in between
    point.Raise(L"CreateEvent", L"winErrorCode", lastError);
  }
  return event;
}

}  // namespace Velta::Threads
