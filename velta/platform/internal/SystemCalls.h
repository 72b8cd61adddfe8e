// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <atomic>
#include <cstdint>

namespace Velta::Platform {

/// The system calls that fail for reasons no test can bring about: a wait that breaks, an event or
/// a thread that cannot be made, a locale that only one of two libraries knows.
///
/// Whoever tells one failure of these calls from another makes them through this table, so that a
/// test can put a failing one in its place; a mere look at an event does not. The entries are
/// constant from load time on: start-up code may use them. Nothing is published with an entry, so
/// relaxed loads do.
struct SystemCalls {
  using WaitForSingle = DWORD (*)(HANDLE handle, DWORD timeoutMs);
  using WaitForMultiple = DWORD (*)(DWORD count, const HANDLE* handles, DWORD timeoutMs);
  using MakeEvent = HANDLE (*)(BOOL manualReset, BOOL initialState);  // CreateEvent is a macro
  using BeginThread = std::uintptr_t (*)(unsigned (*entry)(void*), void* argument, unsigned* id);
  using CreateCLocale = _locale_t (*)(const char* name);

  std::atomic<WaitForSingle> waitForSingle;
  /// Waits for any one of the handles.
  std::atomic<WaitForMultiple> waitForAny;
  /// The same, and also for window input, reported as the index after the last handle.
  std::atomic<WaitForMultiple> waitForAnyOrInput;
  /// Makes an unnamed event; null, with a last error, when the system has none to give.
  std::atomic<MakeEvent> createEvent;
  std::atomic<BeginThread> beginThread;
  /// For all categories.
  std::atomic<CreateCLocale> createLocale;
};

extern SystemCalls systemCalls;

}  // namespace Velta::Platform
