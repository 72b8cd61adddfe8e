// SPDX-License-Identifier: MIT
// What the waits ask of the kernel, asked of the scheduler; and the table of objects, from inside.
#include "Seams.h"

#include "../Scheduler.h"
#include "velta/platform/posix/Dispatcher.h"
#include "velta/platform/posix/Futex.h"
#include "velta/platform/posix/KernelThread.h"
#include "velta/platform/posix/MonotonicTime.h"
#include "velta/platform/posix/ObjectTable.cpp"  // NOLINT(bugprone-suspicious-include)

#include <cerrno>
#include <memory>
#include <new>

using Velta::Simulation::Scheduler;

namespace Velta::Simulation {

void BeforeAtomic(const char* operation, const void* word) noexcept {
  if (Scheduler* const scheduler = Scheduler::Current()) {
    scheduler->Point(operation, reinterpret_cast<std::uintptr_t>(word));
  }
}

namespace Objects {

void Reset() noexcept {
  for (Posix::FreeList& list : Posix::freeLists) {
    new (&list) Posix::FreeList;
  }
  for (std::uint32_t i = 0; i < Posix::usedSlots.Peek(); ++i) {
    new (&Posix::firstChunk[i]) Posix::WaitableObject;
  }
  new (&Posix::usedSlots) Posix::Atomic<std::uint32_t>{0};
}

void CheckAtRest() noexcept {
  Scheduler& scheduler = *Scheduler::Current();
  std::uint32_t free = 0;
  for (Posix::FreeList& list : Posix::freeLists) {
    while (Posix::Pop(list) != nullptr) {
      ++free;
    }
  }
  if (free != Posix::usedSlots.Peek()) {
    scheduler.Fail("%u slots are in use and %u free", Posix::usedSlots.Peek(), free);
  }
  const Posix::FutexGuard lock(Posix::dispatcherLock);  // a deadlock when it is held
  for (std::uint32_t i = 0; i < Posix::usedSlots.Peek(); ++i) {
    if (Posix::firstChunk[i].firstNode != nullptr) {
      scheduler.Fail("slot %u is free and has waiters", i);
    }
  }
}

}  // namespace Objects

}  // namespace Velta::Simulation

namespace Velta::Posix {

bool FutexWait(const Atomic<std::uint32_t>* word, std::uint32_t expected,
               const timespec* deadline) noexcept {
  Scheduler& scheduler = *Scheduler::Current();
  scheduler.Point("futex wait", reinterpret_cast<std::uintptr_t>(word));
  if (word->Peek() != expected) {
    return true;
  }
  return scheduler.WaitOn("asleep", word,
                          deadline == nullptr
                              ? Simulation::kNever
                              : std::int64_t{deadline->tv_sec} * 1'000'000'000 + deadline->tv_nsec);
}

void FutexWake(const Atomic<std::uint32_t>* word, int count) noexcept {
  Scheduler& scheduler = *Scheduler::Current();
  scheduler.Point("futex wake", reinterpret_cast<std::uintptr_t>(word));
  scheduler.Wake(word, static_cast<std::uint32_t>(count));
}

std::int64_t MonotonicNow() noexcept { return Scheduler::Current()->now(); }

std::uint32_t KernelThreadId() noexcept {
  return Scheduler::Current() != nullptr ? Scheduler::Self().id : 1;
}

int StartKernelThread(void* (*entry)(void*), void* argument, std::size_t /*stackSize*/) noexcept {
  struct Start {
    void* (*entry)(void*);
    void* argument;
  };
  auto* const start = new (std::nothrow) Start{entry, argument};
  if (start == nullptr) {
    return EAGAIN;
  }
  const auto run = [](void* given) {
    const std::unique_ptr<Start> owned(static_cast<Start*>(given));
    owned->entry(owned->argument);
  };
  Scheduler::Current()->Spawn("thread", {run, [](void*) {}, start});
  return 0;
}

}  // namespace Velta::Posix
