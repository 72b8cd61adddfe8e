// SPDX-License-Identifier: MIT
#include "velta/threads/MPointerFifo.h"

#include "velta/errors/MError.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/logging/internal/ClassNameRegistration.h"
#include "velta/platform/internal/Assert.h"
#include "velta/platform/internal/DeferredWakeUps.h"
#include "velta/platform/internal/Win32.h"
#include "velta/threads/internal/Events.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace {

// What a host knows the queue as.
const wchar_t ClassName[] = L"MThreadSafeFifo";
const ClassNameRegistration registration(ClassName);

HANDLE MakeDataEvent(const MPointerFifo* queue) {
  static MFlowPoint point(ClassName, ClassName);
  return MakeEvent(point.At(queue), EventReset::Manual);
}

}  // namespace

MPointerFifo::MPointerFifo(std::int32_t step)
    : growStep((std::max)(step, std::int32_t{1})), dataEvent(MakeDataEvent(this)) {}

MPointerFifo::~MPointerFifo() {
  {
    // Whoever pushed what was popped last may still be about to release the lock.
    const MMutexGuard lastOneOut(mutex);
  }
  ::CloseHandle(dataEvent);
}

void MPointerFifo::Push(void* item) {
  DeferredWakeUps wakeUps;
  const MMutexGuard lock(mutex);
  Append(item, wakeUps);
}

bool MPointerFifo::PushUnless(const std::atomic<bool>& refused, void* item) {
  DeferredWakeUps wakeUps;
  const MMutexGuard lock(mutex);
  if (refused.load(std::memory_order_relaxed)) {
    return false;
  }
  Append(item, wakeUps);
  return true;
}

void MPointerFifo::Append(void* item, DeferredWakeUps& wakeUps) {
  if (count == capacity && capacity > (std::numeric_limits<std::int32_t>::max)() - growStep) {
    MErrorOutOfMemory::Throw();
  }
  if (static_cast<std::uint32_t>(count) == storage) {
    GrowStorage();
  }
  if (count == capacity) {
    capacity += growStep;
    head = 0;
  }
  buffer[(first + static_cast<std::uint32_t>(count)) & (storage - 1)] = item;
  ++count;
  VELTA_ASSERT(count <= capacity && static_cast<std::uint32_t>(count) <= storage);
  if (count == 1) {
    wakeUps.SetEvent(dataEvent);  // above 1 it is set already, and only Pop and Clear reset it
  }
}

void MPointerFifo::GrowStorage() {
  VELTA_ASSERT(static_cast<std::uint32_t>(count) == storage);
  const std::uint32_t newStorage = storage == 0 ? 1 : storage * 2;
  std::unique_ptr<void*[]> larger(new (std::nothrow) void*[newStorage]);
  if (larger == nullptr) {
    MErrorOutOfMemory::Throw();
  }
  // The ring is full: the oldest elements stand after the youngest.
  if (storage > 0) {
    void** const oldest = std::copy(buffer.get() + first, buffer.get() + storage, larger.get());
    std::copy(buffer.get(), buffer.get() + first, oldest);
  }
  buffer = std::move(larger);
  storage = newStorage;
  first = 0;
}

bool MPointerFifo::Pop(void** item) {
  const MMutexGuard lock(mutex);
  if (count == 0) {
    return false;
  }
  *item = buffer[first];
  first = (first + 1) & (storage - 1);
  --count;
  if (++head == capacity) {
    head = 0;
  }
  VELTA_ASSERT(count >= 0 && head < capacity && first < storage);
  if (count == 0) {
    ::ResetEvent(dataEvent);
  }
  return true;
}

bool MPointerFifo::Peek(void** item) {
  const MMutexGuard lock(mutex);
  if (count == 0) {
    return false;
  }
  *item = buffer[first];
  return true;
}

void MPointerFifo::Clear() {
  const MMutexGuard lock(mutex);
  buffer.reset();
  count = 0;
  capacity = 0;
  head = 0;
  storage = 0;
  first = 0;
  ::ResetEvent(dataEvent);
}

std::int32_t MPointerFifo::GetCount() {
  const MMutexGuard lock(mutex);
  return count;
}

std::int32_t MPointerFifo::GetCapacity() {
  const MMutexGuard lock(mutex);
  return capacity;
}

std::int32_t MPointerFifo::GetHead() {
  const MMutexGuard lock(mutex);
  return head;
}

bool MPointerFifo::WaitForData(std::uint32_t timeoutMs) const noexcept {
  return ::WaitForSingleObject(dataEvent, timeoutMs) == WAIT_OBJECT_0;
}
