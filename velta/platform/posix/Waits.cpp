// SPDX-License-Identifier: MIT
// How waits work, with events and threads: Dispatcher.h.
#include "velta/platform/internal/Assert.h"
#include "velta/platform/posix/Dispatcher.h"
#include "velta/platform/posix/Futex.h"
#include "velta/platform/posix/MonotonicTime.h"
#include "velta/platform/posix/ObjectTable.h"
#include "velta/platform/posix/SpinBudget.h"
#include "velta/platform/posix/SpinLimits.h"
#include "velta/platform/posix/Win32Subset.h"

#include <atomic>
#include <cstdint>

#include <time.h>

using namespace Velta::Posix;

namespace {

VELTA_POSIX_EARLY_TLS constinit thread_local SpinBudget spinBudget;

constexpr DWORD kMaxMessageWaitObjects = MAXIMUM_WAIT_OBJECTS - 1;  // input takes the last place

DWORD Fail(DWORD error) noexcept {
  ::SetLastError(error);
  return WAIT_FAILED;
}

/// Whether the object is signalled; takes the signal of an automatic event.
/// @param word  its word as last seen; holds a newer one afterwards
bool TryTake(const ObjectReference& reference, std::uint64_t* word) noexcept {
  while (reference.Matches(*word) && (*word & kSignalled) != 0) {
    if ((*word & kManualReset) != 0) {
      return true;
    }
    if (reference.object->word.compare_exchange_weak(*word, *word & ~kSignalled,
                                                     std::memory_order_acquire)) {
      return true;
    }
  }
  return false;
}

/// The first that is signalled of the handles before `end`; else `end`.
DWORD FirstSignalled(const HANDLE* handles, DWORD end) noexcept {
  for (DWORD i = 0; i < end; ++i) {
    const WaitableObject* const object = FindObject(handles[i]).object;
    if (object == nullptr) {
      continue;
    }
    if ((object->word.load(std::memory_order_acquire) & kSignalled) != 0) {
      return i;
    }
  }
  return end;
}

/// Something was signalled, but only a look under the lock tells what: an automatic event after
/// others cannot be taken and compared with them in one step, and one that was just signalled may
/// have been taken by another thread.
constexpr DWORD kContested = WAIT_TIMEOUT + 1;

/// The look without the lock, with which most waits of a busy thread end.
///
/// @return an index, WAIT_FAILED for a handle that is not valid, WAIT_TIMEOUT when nothing was
///         signalled, or kContested
DWORD TakeUnlocked(DWORD count, const HANDLE* handles) noexcept {
  DWORD found = count;
  ObjectReference foundReference{};
  std::uint64_t foundWord = 0;
  for (DWORD i = 0; i < count; ++i) {
    const ObjectReference reference = FindObject(handles[i]);
    if (reference.object == nullptr) {
      return WAIT_FAILED;
    }
    const std::uint64_t word = reference.object->word.load(std::memory_order_acquire);
    if (!reference.Matches(word)) {
      return WAIT_FAILED;
    }
    if (found == count && (word & kSignalled) != 0) {
      found = i;
      foundReference = reference;
      foundWord = word;
    }
  }
  if (found == count) {
    return WAIT_TIMEOUT;
  }
  if (found == 0) {
    return TryTake(foundReference, &foundWord) ? found : kContested;
  }
  if ((foundWord & kManualReset) == 0) {
    return kContested;
  }
  // One before it may have been set first, after its turn in the loop above: look again. What is
  // not signalled now was not when this one was, unless another thread has taken or reset it since.
  return FirstSignalled(handles, found) == found ? found : kContested;
}

/// The look under the lock: takes a signal, or puts the waiter into every object's list.
///
/// What has the waiter in its list cannot become signalled before the lock is released, so the
/// first index found is the lowest there is.
DWORD TakeOrEnlist(DWORD count, const HANDLE* handles, Waiter* waiter) noexcept
    VELTA_REQUIRES(dispatcherLock) {
  for (DWORD i = 0; i < count; ++i) {
    const ObjectReference reference = FindObject(handles[i]);
    if (reference.object == nullptr) {
      return WAIT_FAILED;
    }
    std::uint64_t word = reference.object->word.load(std::memory_order_acquire);
    do {
      if (TryTake(reference, &word)) {
        return i;
      }
      if (!reference.Matches(word)) {
        return WAIT_FAILED;
      }
      if ((word & kHasWaiters) != 0) {
        break;
      }
    } while (!reference.object->word.compare_exchange_weak(word, word | kHasWaiters,
                                                           std::memory_order_acquire));
    AppendNode(reference.object, waiter, i);
  }
  return WAIT_TIMEOUT;
}

/// Looks again for a while, if that has paid for this thread lately. No list knows of the waiter
/// yet, so whoever sets an event meanwhile is done with one step.
DWORD SpinForSignal(DWORD count, const HANDLE* handles) noexcept {
  if (!spinBudget.MaySpin()) {
    return WAIT_TIMEOUT;
  }
  DWORD result = WAIT_TIMEOUT;
  for (int i = 0; i < kWaitPauses && result == WAIT_TIMEOUT; ++i) {
    SpinPause();
    result = TakeUnlocked(count, handles);
  }
  spinBudget.Report(result != WAIT_TIMEOUT);
  return result;
}

/// Sleeps until the wait is satisfied; false when the deadline comes first.
bool SleepUntilSatisfied(Waiter* waiter, const timespec* deadline) noexcept {
  std::uint32_t word = Waiter::kWaiting;
  if (!waiter->word.compare_exchange_strong(word, Waiter::kAsleep, std::memory_order_acquire)) {
    return true;
  }
  while (FutexWait(&waiter->word, Waiter::kAsleep, deadline)) {
    if (Waiter::IsSatisfied(waiter->word.load(std::memory_order_acquire))) {
      return true;
    }
  }
  // A signal that came together with the deadline counts, or an automatic event would lose it.
  const FutexGuard lock(dispatcherLock);
  if (Waiter::IsSatisfied(waiter->word.load(std::memory_order_acquire))) {
    return true;
  }
  RemoveNodes(waiter);
  return false;
}

/// @param seen  what the look without the lock gave: WAIT_TIMEOUT or kContested
DWORD WaitBlocking(DWORD count, const HANDLE* handles, DWORD milliseconds, DWORD seen) noexcept {
  timespec deadline{};
  if (milliseconds != 0 && milliseconds != INFINITE) {
    deadline = MonotonicAfter(milliseconds);
  }

  if (milliseconds != 0) {
    if (seen == WAIT_TIMEOUT) {
      seen = SpinForSignal(count, handles);
    }
    if (seen != WAIT_TIMEOUT && seen != kContested) {
      return seen;
    }
  }
  Waiter waiter;
  {
    const FutexGuard lock(dispatcherLock);
    const DWORD result = TakeOrEnlist(count, handles, &waiter);
    if (result != WAIT_TIMEOUT || milliseconds == 0) {
      RemoveNodes(&waiter);
      return result;
    }
  }
  const bool satisfied =
      SleepUntilSatisfied(&waiter, milliseconds != INFINITE ? &deadline : nullptr);
  VELTA_ASSERT(!waiter.IsListed());
  if (!satisfied) {
    return WAIT_TIMEOUT;
  }
  return WAIT_OBJECT_0 + waiter.word.load(std::memory_order_acquire);
}

DWORD TakeOrWait(DWORD count, const HANDLE* handles, DWORD milliseconds) noexcept {
  DWORD result = TakeUnlocked(count, handles);
  if (result == WAIT_TIMEOUT || result == kContested) {
    result = WaitBlocking(count, handles, milliseconds, result);
  }
  return result != WAIT_FAILED ? result : Fail(ERROR_INVALID_HANDLE);
}

}  // namespace

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) noexcept {
  const ObjectReference reference = FindObject(object);
  if (reference.object == nullptr) {
    return Fail(ERROR_INVALID_HANDLE);
  }
  std::uint64_t word = reference.object->word.load(std::memory_order_acquire);
  if (!reference.Matches(word)) {
    return Fail(ERROR_INVALID_HANDLE);
  }
  if (TryTake(reference, &word)) {
    return WAIT_OBJECT_0;
  }
  if (milliseconds == 0) {
    return WAIT_TIMEOUT;
  }
  const DWORD result = WaitBlocking(1, &object, milliseconds, WAIT_TIMEOUT);
  return result != WAIT_FAILED ? result : Fail(ERROR_INVALID_HANDLE);
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL waitAll,
                             DWORD milliseconds) noexcept {
  if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || objects == nullptr || waitAll != FALSE) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  return TakeOrWait(count, objects, milliseconds);
}

DWORD MsgWaitForMultipleObjectsEx(DWORD count, const HANDLE* objects, DWORD milliseconds,
                                  DWORD /*wakeMask*/, DWORD flags) noexcept {
  if (count > kMaxMessageWaitObjects || (count != 0 && objects == nullptr) ||
      (flags & ~MWMO_INPUTAVAILABLE) != 0) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  return TakeOrWait(count, objects, milliseconds);
}
