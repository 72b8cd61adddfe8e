// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/platform/ThreadSafety.h"
#include "velta/platform/Types.h"
#include "velta/threads/MMutex.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace Velta::Platform {
class DeferredWakeUps;
}

VELTA_EXPORTS_BEGIN

/// The queue beneath every `MThreadSafeFifo`, which gives it a type. Use that one.
///
/// A ring of slots whose number grows by the grow step whenever a push finds it full; the oldest
/// element then moves to slot 0. Growing by single slots would copy everything at each push, so the
/// buffer doubles ahead of the slots and holds the elements in a ring of its own: the slots are
/// only counted, and n pushes cost O(n).
class VELTA_API MPointerFifo {
 public:
  /// @param growStep  slots added at a time; less than 1 counts as 1
  ///
  /// Errors: MThreadSafeFifo.MThreadSafeFifo:CreateEvent with "winErrorCode" when the system has no
  /// event to give; an `MErrorOutOfMemory`.
  explicit MPointerFifo(std::int32_t growStep);
  MPointerFifo(const MPointerFifo&) = delete;
  MPointerFifo& operator=(const MPointerFifo&) = delete;
  ~MPointerFifo();

  void Push(void* item);
  [[nodiscard]] bool PushUnless(const std::atomic<bool>& refused, void* item);
  bool Pop(void** item);
  bool Peek(void** item);
  void Clear();
  std::int32_t GetCount();
  std::int32_t GetCapacity();
  std::int32_t GetHead();
  bool WaitForData(std::uint32_t timeoutMs) const noexcept;
  HANDLE GetEvent() const noexcept { return dataEvent_; }

 private:
  void Append(void* item, Velta::Platform::DeferredWakeUps& wakeUps) VELTA_REQUIRES(mutex_);
  void GrowStorage() VELTA_REQUIRES(mutex_);

  // Null while the capacity is 0.
  std::unique_ptr<void*[]> buffer_ VELTA_GUARDED_BY(mutex_);
  std::int32_t count_ VELTA_GUARDED_BY(mutex_) = 0;
  std::int32_t capacity_ VELTA_GUARDED_BY(mutex_) = 0;
  const std::int32_t growStep_;
  std::int32_t head_ VELTA_GUARDED_BY(mutex_) = 0;  // the slot of the oldest element
  MMutex mutex_;
  const HANDLE dataEvent_;  // signalled exactly while count is above 0
  // Length of the buffer: 0 or a power of two, at least the count.
  std::uint32_t storage_ VELTA_GUARDED_BY(mutex_) = 0;
  // Where the oldest element stands in the buffer.
  std::uint32_t first_ VELTA_GUARDED_BY(mutex_) = 0;
};

VELTA_EXPORTS_END
