// SPDX-License-Identifier: MIT
// How events work, with waits and threads: Dispatcher.h.
#include "velta/platform/internal/Assert.h"
#include "velta/platform/posix/Dispatcher.h"
#include "velta/platform/posix/ObjectTable.h"
#include "velta/platform/posix/Win32Subset.h"

#include <atomic>
#include <cstdint>

using namespace Velta::Posix;

namespace {

BOOL Refuse(DWORD error) noexcept {
  ::SetLastError(error);
  return FALSE;
}

BOOL SetEventWithWaiters(const ObjectReference& event, WakeList* wakes) noexcept {
  const FutexGuard lock(dispatcherLock);
  std::uint64_t word = event.object->word.load(std::memory_order_relaxed);
  for (;;) {
    if (!event.Matches(word)) {
      return Refuse(ERROR_INVALID_HANDLE);
    }
    if ((word & (kManualReset | kHasWaiters)) == kHasWaiters) {
      // The signal of an automatic event goes to its first waiter; it is not set in between.
      const bool handedOver = SatisfyFirst(event.object, wakes);
      VELTA_ASSERT(handedOver && (word & kSignalled) == 0);
      return TRUE;
    }
    if (event.object->word.compare_exchange_weak(word, word | kSignalled, std::memory_order_release,
                                                 std::memory_order_relaxed)) {
      while (SatisfyFirst(event.object, wakes)) {
      }
      return TRUE;
    }
  }
}

BOOL CloseWithWaiters(const ObjectReference& reference) noexcept {
  WaitableObject* const object = reference.object;
  {
    const FutexGuard lock(dispatcherLock);
    std::uint64_t word = object->word.load(std::memory_order_relaxed);
    do {
      if (!reference.Matches(word)) {
        return Refuse(ERROR_INVALID_HANDLE);
      }
    } while (!object->word.compare_exchange_weak(word, word & ~kOpen, std::memory_order_acq_rel,
                                                 std::memory_order_relaxed));
    // A thread that still runs ends these waits, and recycles its object, when it is done.
    if ((word & (kThread | kSignalled)) == kThread) {
      return TRUE;
    }
    AbandonNodes(object);
  }
  RecycleObject(object);
  return TRUE;
}

}  // namespace

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES /*attributes*/, BOOL manualReset, BOOL initialState,
                    LPCWSTR name) noexcept {
  if (name != nullptr) {
    ::SetLastError(ERROR_NOT_SUPPORTED);
    return nullptr;
  }
  WaitableObject* const object = TakeObject();
  if (object == nullptr) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  ::SetLastError(ERROR_SUCCESS);
  return Publish(
      object, (manualReset != FALSE ? kManualReset : 0) | (initialState != FALSE ? kSignalled : 0));
}

BOOL Velta::Posix::SetEventAndNote(HANDLE handle, WakeList* wakes) noexcept {
  const ObjectReference event = FindObject(handle);
  if (event.object == nullptr) {
    return Refuse(ERROR_INVALID_HANDLE);
  }
  std::uint64_t word = event.object->word.load(std::memory_order_relaxed);
  do {
    if (!event.Matches(word) || (word & kThread) != 0) {
      return Refuse(ERROR_INVALID_HANDLE);
    }
    if ((word & kHasWaiters) != 0) {
      return SetEventWithWaiters(event, wakes);
    }
    // Written even when signalled already: a later waiter must see what every setter did before.
  } while (!event.object->word.compare_exchange_weak(
      word, word | kSignalled, std::memory_order_release, std::memory_order_relaxed));
  return TRUE;
}

BOOL SetEvent(HANDLE handle) noexcept {
  WakeList wakes;
  const BOOL result = SetEventAndNote(handle, &wakes);
  wakes.WakeAll();
  return result;
}

BOOL ResetEvent(HANDLE handle) noexcept {
  const ObjectReference event = FindObject(handle);
  if (event.object == nullptr) {
    return Refuse(ERROR_INVALID_HANDLE);
  }
  std::uint64_t word = event.object->word.load(std::memory_order_relaxed);
  do {
    if (!event.Matches(word) || (word & kThread) != 0) {
      return Refuse(ERROR_INVALID_HANDLE);
    }
  } while (!event.object->word.compare_exchange_weak(
      word, word & ~kSignalled, std::memory_order_acq_rel, std::memory_order_relaxed));
  return TRUE;
}

BOOL CloseHandle(HANDLE handle) noexcept {
  const ObjectReference reference = FindObject(handle);
  if (reference.object == nullptr) {
    return Refuse(ERROR_INVALID_HANDLE);
  }
  std::uint64_t word = reference.object->word.load(std::memory_order_relaxed);
  do {
    if (!reference.Matches(word)) {
      return Refuse(ERROR_INVALID_HANDLE);
    }
    if ((word & kHasWaiters) != 0) {
      return CloseWithWaiters(reference);
    }
  } while (!reference.object->word.compare_exchange_weak(
      word, word & ~kOpen, std::memory_order_acq_rel, std::memory_order_relaxed));
  const bool stillRunning = (word & (kThread | kSignalled)) == kThread;
  if (!stillRunning) {
    RecycleObject(reference.object);
  }
  return TRUE;
}
