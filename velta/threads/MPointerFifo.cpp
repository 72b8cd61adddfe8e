// SPDX-License-Identifier: MIT
#include "velta/threads/MPointerFifo.h"

#include "velta/errors/MError.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
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

using namespace Velta::Platform;
using namespace Velta::Threads;

namespace {

// What a host knows the queue as.
const wchar_t ClassName[] = L"MThreadSafeFifo";
const Velta::Logging::ClassNameRegistration registration(ClassName);

HANDLE MakeDataEvent(const MPointerFifo* queue) {
  static MFlowPoint point(ClassName, ClassName);
  return MakeEvent(point.At(queue), EventReset::kManual);
}

}  // namespace

MPointerFifo::MPointerFifo(std::int32_t growStep)
    : growStep_((std::max)(growStep, std::int32_t{1})), dataEvent_(MakeDataEvent(this)) {}

MPointerFifo::~MPointerFifo() {
  {
    // Whoever pushed what was popped last may still be about to release the lock.
    const MMutexGuard lastOneOut(mutex_);
  }
  ::CloseHandle(dataEvent_);
}

void MPointerFifo::Push(void* item) {
  DeferredWakeUps wakeUps;
  const MMutexGuard lock(mutex_);
  Append(item, wakeUps);
}

bool MPointerFifo::PushUnless(const std::atomic<bool>& refused, void* item) {
  DeferredWakeUps wakeUps;
  const MMutexGuard lock(mutex_);
  if (refused.load(std::memory_order_relaxed)) {  // the lock orders it
    return false;
  }
  Append(item, wakeUps);
  return true;
}

void MPointerFifo::Append(void* item, DeferredWakeUps& wakeUps) {
  if (count_ == capacity_ && capacity_ > (std::numeric_limits<std::int32_t>::max)() - growStep_) {
    MErrorOutOfMemory::Throw();
  }
  if (static_cast<std::uint32_t>(count_) == storage_) {
    GrowStorage();
  }
  if (count_ == capacity_) {
    capacity_ += growStep_;
    head_ = 0;
  }
  buffer_[(first_ + static_cast<std::uint32_t>(count_)) & (storage_ - 1)] = item;
  ++count_;
  VELTA_ASSERT(count_ <= capacity_ && static_cast<std::uint32_t>(count_) <= storage_);
  if (count_ == 1) {
    wakeUps.SetEvent(dataEvent_);  // above 1 it is set already, and only Pop and Clear reset it
  }
}

void MPointerFifo::GrowStorage() {
  VELTA_ASSERT(static_cast<std::uint32_t>(count_) == storage_);
  const std::uint32_t newStorage = storage_ == 0 ? 1 : storage_ * 2;
  std::unique_ptr<void*[]> larger(new (std::nothrow) void*[newStorage]);
  if (larger == nullptr) {
    MErrorOutOfMemory::Throw();
  }
  // The ring is full: the oldest elements stand after the youngest.
  if (storage_ > 0) {
    void** const oldest = std::copy(buffer_.get() + first_, buffer_.get() + storage_, larger.get());
    std::copy(buffer_.get(), buffer_.get() + first_, oldest);
  }
  buffer_ = std::move(larger);
  storage_ = newStorage;
  first_ = 0;
}

bool MPointerFifo::Pop(void** item) {
  const MMutexGuard lock(mutex_);
  if (count_ == 0) {
    return false;
  }
  *item = buffer_[first_];
  first_ = (first_ + 1) & (storage_ - 1);
  --count_;
  if (++head_ == capacity_) {
    head_ = 0;
  }
  VELTA_ASSERT(count_ >= 0 && head_ < capacity_ && first_ < storage_);
  if (count_ == 0) {
    ::ResetEvent(dataEvent_);
  }
  return true;
}

bool MPointerFifo::Peek(void** item) {
  const MMutexGuard lock(mutex_);
  if (count_ == 0) {
    return false;
  }
  *item = buffer_[first_];
  return true;
}

void MPointerFifo::Clear() {
  const MMutexGuard lock(mutex_);
  buffer_.reset();
  count_ = 0;
  capacity_ = 0;
  head_ = 0;
  storage_ = 0;
  first_ = 0;
  ::ResetEvent(dataEvent_);
}

std::int32_t MPointerFifo::GetCount() {
  const MMutexGuard lock(mutex_);
  return count_;
}

std::int32_t MPointerFifo::GetCapacity() {
  const MMutexGuard lock(mutex_);
  return capacity_;
}

std::int32_t MPointerFifo::GetHead() {
  const MMutexGuard lock(mutex_);
  return head_;
}

bool MPointerFifo::WaitForData(std::uint32_t timeoutMs) const noexcept {
  return ::WaitForSingleObject(dataEvent_, timeoutMs) == WAIT_OBJECT_0;
}
