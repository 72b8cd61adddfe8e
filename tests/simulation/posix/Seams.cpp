// SPDX-License-Identifier: MIT
// What the waits ask of the kernel, asked of the scheduler; and the table of objects, from inside.
#include "../Scheduler.h"
#include "History.h"
#include "velta/platform/posix/Dispatcher.h"
#include "velta/platform/posix/Futex.h"
#include "velta/platform/posix/KernelThread.h"
#include "velta/platform/posix/MonotonicTime.h"
#include "velta/platform/posix/ObjectTable.cpp"  // NOLINT(bugprone-suspicious-include)

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace Velta::Simulation {

void BeforeAtomic(const char* operation, const void* word) noexcept { Point(operation, word); }

void CheckAndResetTable() noexcept {
  const std::uint32_t used = Posix::usedSlots.Peek();
  std::uint32_t free = 0;
  for (Posix::FreeList& list : Posix::freeLists) {
    while (Posix::Pop(list) != nullptr) {
      ++free;
    }
    new (&list) Posix::FreeList;
  }
  Check(free == used, "%u slots are in use and %u free", used, free);
  const Posix::FutexGuard lock(Posix::dispatcherLock);  // a deadlock when it is held
  for (std::uint32_t i = 0; i < used; ++i) {
    Check(Posix::firstChunk[i].firstNode == nullptr, "slot %u is free and has waiters", i);
    new (&Posix::firstChunk[i]) Posix::WaitableObject;
  }
  new (&Posix::usedSlots) Posix::Atomic<std::uint32_t>{0};
}

}  // namespace Velta::Simulation

namespace Velta::Posix {

namespace {

struct Sleeper {
  const void* word;
  bool isWoken;
};
std::vector<Sleeper*> sleepers;  // first come first

}  // namespace

bool FutexWait(const Atomic<std::uint32_t>* word, std::uint32_t expected,
               const timespec* deadline) noexcept {
  Simulation::Point("futex wait", word);
  if (word->Peek() != expected) {
    return true;
  }
  const std::int64_t end = deadline == nullptr
                               ? Simulation::kNever
                               : std::int64_t{deadline->tv_sec} * 1'000'000'000 + deadline->tv_nsec;
  Sleeper sleeper{word, false};
  sleepers.push_back(&sleeper);
  Simulation::Wait("a wake-up", [&] { return sleeper.isWoken; }, end);
  std::erase(sleepers, &sleeper);
  return sleeper.isWoken;
}

void FutexWake(const Atomic<std::uint32_t>* word, int count) noexcept {
  Simulation::Point("futex wake", word);
  for (Sleeper* const sleeper : sleepers) {
    if (count > 0 && sleeper->word == word && !sleeper->isWoken) {
      sleeper->isWoken = true;
      --count;
    }
  }
}

std::int64_t MonotonicNow() noexcept { return Simulation::Now(); }

std::uint32_t KernelThreadId() noexcept { return Simulation::Self().id; }

int StartKernelThread(void* (*entry)(void*), void* argument, std::size_t /*stackSize*/) noexcept {
  Simulation::Spawn("thread", [entry, argument] { entry(argument); });
  return 0;
}

}  // namespace Velta::Posix
