// SPDX-License-Identifier: MIT
// How a thread's handle works, with events and waits: Dispatcher.h.
#include "velta/platform/posix/Dispatcher.h"
#include "velta/platform/posix/Futex.h"
#include "velta/platform/posix/KernelThread.h"
#include "velta/platform/posix/MonotonicTime.h"
#include "velta/platform/posix/ObjectTable.h"
#include "velta/platform/posix/Win32Subset.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

#include <pthread.h>
#include <sched.h>
#include <time.h>
#include <unistd.h>

using namespace Velta::Posix;

namespace Velta::Posix {

constinit thread_local DWORD lastError = ERROR_SUCCESS;
constinit thread_local DWORD cachedThreadId = 0;

DWORD FetchThreadId() noexcept {
  // A forked child continues on a copy of this thread, under another id.
  [[maybe_unused]] static const int registered =
      ::pthread_atfork(nullptr, nullptr, [] { cachedThreadId = 0; });
  cachedThreadId = KernelThreadId();
  return cachedThreadId;
}

}  // namespace Velta::Posix

namespace {

/// Signals the thread's object; the object may be closed, and belong to nobody else, already.
void SignalThreadEnd(WaitableObject* thread) noexcept {
  WakeList wakes;
  bool closed = false;
  std::uint64_t word = thread->word.load(std::memory_order_relaxed);
  for (;;) {
    if ((word & kHasWaiters) != 0) {
      const FutexGuard lock(dispatcherLock);
      word = thread->word.fetch_or(kSignalled, std::memory_order_acq_rel);
      while (SatisfyFirst(thread, &wakes)) {
      }
      closed = (word & kOpen) == 0;
      break;
    }
    if (thread->word.compare_exchange_weak(word, word | kSignalled, std::memory_order_acq_rel,
                                           std::memory_order_relaxed)) {
      closed = (word & kOpen) == 0;
      break;
    }
  }
  if (closed) {
    RecycleObject(thread);
  }
  wakes.WakeAll();
}

/// Its destructor is what a thread of ours does last.
class ThreadEnd {
 public:
  ThreadEnd() = default;
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() { SignalThreadEnd(object); }

  WaitableObject* object = nullptr;
};

// Constructed before any other thread-local object of its thread, so destroyed after them. The C
// library keeps this code loaded until the destructor has returned.
thread_local ThreadEnd threadEnd;

// An exception that leaves the entry has nowhere to go: it ends the process, as on Windows.
void* RunThread(void* argument) noexcept {
  auto* const thread = static_cast<WaitableObject*>(argument);
  threadEnd.object = thread;
  thread->threadId.store(::GetCurrentThreadId(), std::memory_order_release);
  FutexWake(&thread->threadId, 1);
  const unsigned exitCode = thread->entry(thread->argument);
  thread->exitCode.store(exitCode, std::memory_order_relaxed);  // released by SignalThreadEnd
  return nullptr;
}

}  // namespace

std::uintptr_t _beginthreadex(void* /*security*/, unsigned stackSize, unsigned (*entry)(void*),
                              void* argument, unsigned flags, unsigned* threadId) noexcept {
  if (entry == nullptr || flags != 0) {
    errno = EINVAL;
    return 0;
  }
  WaitableObject* const thread = TakeObject();
  if (thread == nullptr) {
    errno = EAGAIN;
    return 0;
  }
  thread->entry = entry;
  thread->argument = argument;
  thread->threadId.store(0, std::memory_order_relaxed);  // released by Publish, as all of it is
  thread->exitCode.store(0, std::memory_order_relaxed);
  const HANDLE handle = Publish(thread, kThread | kManualReset);
  const int error = StartKernelThread(&RunThread, thread, stackSize);
  if (error != 0) {
    thread->word.fetch_and(~kOpen, std::memory_order_relaxed);
    RecycleObject(thread);
    errno = error;
    return 0;
  }
  // The kernel's id is known to the new thread alone. Its object stays: nobody can close it yet.
  std::uint32_t id = 0;
  while ((id = thread->threadId.load(std::memory_order_acquire)) == 0) {
    FutexWait(&thread->threadId, 0, nullptr);
  }
  if (threadId != nullptr) {
    *threadId = id;
  }
  return reinterpret_cast<std::uintptr_t>(handle);
}

BOOL GetExitCodeThread(HANDLE handle, DWORD* exitCode) noexcept {
  const ObjectReference thread = FindObject(handle);
  if (thread.object != nullptr) {
    const std::uint64_t word = thread.object->word.load(std::memory_order_acquire);
    if (thread.Matches(word) && (word & kThread) != 0) {
      *exitCode = (word & kSignalled) != 0 ? thread.object->exitCode.load(std::memory_order_relaxed)
                                           : STILL_ACTIVE;
      return TRUE;
    }
  }
  ::SetLastError(ERROR_INVALID_HANDLE);
  return FALSE;
}

void Sleep(DWORD milliseconds) noexcept {
  if (milliseconds == 0) {
    ::sched_yield();
    return;
  }
  if (milliseconds == INFINITE) {
    for (;;) {
      ::pause();
    }
  }
  const timespec until = MonotonicAfter(milliseconds);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}
