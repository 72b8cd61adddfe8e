// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/ThreadSafety.h"
#include "velta/platform/posix/Atomic.h"
#include "velta/platform/posix/FutexLock.h"
#include "velta/platform/posix/Win32Subset.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Velta::Posix {

struct WaitNode;

/// Guards every list of waiters. Under it nothing allocates, logs, or calls out.
VELTA_POSIX_HIDDEN extern constinit FutexLock dispatcherLock;

// What an object's word holds: flags, and above them the generation of its slot. Dispatcher.h has
// its states.
inline constexpr std::uint64_t kOpen = 1;         // its handle is valid
inline constexpr std::uint64_t kThread = 2;       // a thread, else an event
inline constexpr std::uint64_t kManualReset = 4;  // a wait leaves it signalled; threads too
inline constexpr std::uint64_t kSignalled = 8;
inline constexpr std::uint64_t kHasWaiters = 16;  // changing it takes the dispatcher's lock
inline constexpr int kGenerationShift = 8;
inline constexpr std::uint64_t kGenerationMask = ~std::uint64_t{0} << kGenerationShift;

/// What a handle refers to: an event or a thread, in a slot whose memory is never given back.
///
/// A change of its word through a handle carries the generation along, so it fails when the handle
/// was closed meanwhile, instead of reaching the slot's next object.
struct alignas(64) WaitableObject {
  Atomic<std::uint64_t> word{0};
  WaitNode* firstNode VELTA_GUARDED_BY(dispatcherLock) = nullptr;
  WaitNode* lastNode VELTA_GUARDED_BY(dispatcherLock) = nullptr;
  unsigned (*entry)(void*) = nullptr;  // this and the next three: threads only
  void* argument = nullptr;
  Atomic<std::uint32_t> threadId{0};
  Atomic<std::uint32_t> exitCode{0};
  std::uint32_t index = 0;            // of this slot, for good
  Atomic<std::uint32_t> nextFree{0};  // 1 + index, while in a free list
};

/// An object together with what its word must hold for the handle to be valid.
struct ObjectReference {
  WaitableObject* object;  // null when the handle cannot belong to any object
  std::uint64_t open;      // the generation and kOpen

  [[nodiscard]] bool Matches(std::uint64_t word) const noexcept {
    return (word & (kGenerationMask | kOpen)) == open;
  }
};

/// Takes a free slot; null when memory is out. Nobody sees the object before `Publish`.
WaitableObject* TakeObject() noexcept;

/// Makes the object valid with these flags, and gives its handle.
HANDLE Publish(WaitableObject* object, std::uint64_t flags) noexcept;

/// Frees the slot of an object that is closed and on which nobody waits.
void RecycleObject(WaitableObject* object) noexcept;

// A handle is generation, index and two zero bits: never null, never one of the pseudo handles.
inline constexpr int kHandleIndexShift = 2;
inline constexpr int kHandleIndexBits = 24;
inline constexpr int kHandleGenerationShift = kHandleIndexShift + kHandleIndexBits;
inline constexpr std::uint32_t kChunkBits = 12;
inline constexpr std::uint32_t kObjectsPerChunk = 1U << kChunkBits;
inline constexpr std::uint32_t kChunks = 1U << (kHandleIndexBits - kChunkBits);

// The first chunk is part of the library: most processes never need another.
VELTA_POSIX_HIDDEN extern constinit WaitableObject firstChunk[kObjectsPerChunk];
VELTA_POSIX_HIDDEN extern constinit Atomic<WaitableObject*> furtherChunks[kChunks];

/// Looks a handle up: any value may be asked for, nothing is read through it.
inline ObjectReference FindObject(HANDLE handle) noexcept {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  const auto index =
      static_cast<std::uint32_t>(value >> kHandleIndexShift) & ((1U << kHandleIndexBits) - 1);
  const std::uint64_t generation = value >> kHandleGenerationShift;
  if (generation == 0 || (value & 3) != 0) {
    return {nullptr, 0};
  }
  const std::uint64_t open = generation << kGenerationShift | kOpen;
  if (index < kObjectsPerChunk) {
    return {&firstChunk[index], open};
  }
  WaitableObject* const chunk = furtherChunks[index >> kChunkBits].load(std::memory_order_acquire);
  if (chunk == nullptr) {
    return {nullptr, 0};
  }
  return {&chunk[index & (kObjectsPerChunk - 1)], open};
}

}  // namespace Velta::Posix
