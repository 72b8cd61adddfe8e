// SPDX-License-Identifier: MIT
#include "velta/platform/posix/ObjectTable.h"

#include "velta/platform/internal/Assert.h"

#include <atomic>
#include <cstdlib>
#include <memory>

namespace Velta::Posix {

constinit WaitableObject firstChunk[kObjectsPerChunk];
constinit Atomic<WaitableObject*> furtherChunks[kChunks];

namespace {

static_assert(sizeof(WaitableObject) == 64, "one cache line each");
static_assert(sizeof(void*) == 8, "a handle holds an index and a generation");

/// Free slots as a stack. Several, so that threads that create and close all the time do not meet.
///
/// The count of pops makes a pop fail when its top was popped and pushed back meanwhile, perhaps
/// with another slot below it. A pop acquires what the push of its top released: the slot's last
/// state, its `nextFree`, and the chunk that it lies in.
struct alignas(64) FreeList {
  Atomic<std::uint64_t> head{0};  // 1 + index of the top, above it the number of pops
};

constexpr std::uint32_t kFreeLists = 8;
constexpr std::uint32_t kMaxObjects = kObjectsPerChunk * kChunks;
constexpr std::uint64_t kHandleGenerations = std::uint64_t{1} << (64 - kHandleGenerationShift);

constinit FreeList freeLists[kFreeLists];
constinit Atomic<std::uint32_t> usedSlots{0};  // orders nothing: a chunk is published by itself
constinit FutexLock growthLock;

WaitableObject* ObjectAt(std::uint32_t index) noexcept {
  if (index < kObjectsPerChunk) {
    return &firstChunk[index];
  }
  WaitableObject* const chunk = furtherChunks[index >> kChunkBits].load(std::memory_order_acquire);
  return &chunk[index & (kObjectsPerChunk - 1)];
}

WaitableObject* Pop(FreeList& list) noexcept {
  std::uint64_t head = list.head.load(std::memory_order_acquire);
  while (static_cast<std::uint32_t>(head) != 0) {
    WaitableObject* const top = ObjectAt(static_cast<std::uint32_t>(head) - 1);
    const std::uint64_t pops = (head >> 32) + 1;
    const std::uint64_t next = top->nextFree.load(std::memory_order_relaxed);
    if (list.head.compare_exchange_weak(head, pops << 32 | next, std::memory_order_acquire,
                                        std::memory_order_acquire)) {
      return top;
    }
  }
  return nullptr;
}

void Push(FreeList& list, WaitableObject* object) noexcept {
  std::uint64_t head = list.head.load(std::memory_order_relaxed);
  std::uint64_t pushed = 0;
  do {
    object->nextFree.store(static_cast<std::uint32_t>(head), std::memory_order_relaxed);
    pushed = (head >> 32) << 32 | (object->index + 1);
  } while (!list.head.compare_exchange_weak(head, pushed, std::memory_order_release,
                                            std::memory_order_relaxed));
}

bool EnsureChunk(std::uint32_t chunk) noexcept {
  if (chunk == 0 || furtherChunks[chunk].load(std::memory_order_acquire) != nullptr) {
    return true;
  }
  const FutexGuard lock(growthLock);
  if (furtherChunks[chunk].load(std::memory_order_relaxed) != nullptr) {
    return true;
  }
  void* const memory =
      std::aligned_alloc(alignof(WaitableObject), sizeof(WaitableObject) * kObjectsPerChunk);
  if (memory == nullptr) {
    return false;
  }
  auto* const objects = static_cast<WaitableObject*>(memory);
  std::uninitialized_value_construct_n(objects, kObjectsPerChunk);
  furtherChunks[chunk].store(objects, std::memory_order_release);
  return true;
}

WaitableObject* TakeUnused() noexcept {
  std::uint32_t index = usedSlots.load(std::memory_order_relaxed);
  do {
    if (index == kMaxObjects || !EnsureChunk(index >> kChunkBits)) {
      return nullptr;
    }
  } while (!usedSlots.compare_exchange_weak(index, index + 1, std::memory_order_relaxed));
  WaitableObject* const object = ObjectAt(index);
  object->index = index;
  return object;
}

}  // namespace

WaitableObject* TakeObject() noexcept {
  const std::uint32_t own = ::GetCurrentThreadId();
  for (std::uint32_t i = 0; i < kFreeLists; ++i) {
    WaitableObject* const object = Pop(freeLists[(own + i) % kFreeLists]);
    if (object != nullptr) {
      return object;
    }
  }
  return TakeUnused();
}

HANDLE Publish(WaitableObject* object, std::uint64_t flags) noexcept {
  const std::uint64_t was = object->word.load(std::memory_order_relaxed);
  VELTA_ASSERT((was & (kOpen | kHasWaiters)) == 0);
  std::uint64_t generation = ((was >> kGenerationShift) + 1) % kHandleGenerations;
  if (generation == 0) {
    generation = 1;
  }
  object->word.store(generation << kGenerationShift | flags | kOpen, std::memory_order_release);
  const std::uint64_t value = generation << kHandleGenerationShift | std::uint64_t{object->index}
                                                                         << kHandleIndexShift;
  return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
}

void RecycleObject(WaitableObject* object) noexcept {
  VELTA_ASSERT((object->word.load(std::memory_order_relaxed) & (kOpen | kHasWaiters)) == 0);
  Push(freeLists[::GetCurrentThreadId() % kFreeLists], object);
}

}  // namespace Velta::Posix
