// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Types.h"
#include "velta/threads/MPointerFifo.h"

#include <atomic>
#include <cstdint>
#include <type_traits>

/// The consumer's side of a queue.
///
/// Threads: any number of consumers. `WaitForData`, `IsEmpty` and `GetEvent` take no lock.
template <class T, class U>
class MThreadSafeFifoOutput {
 public:
  /// Copies the oldest element into `out` and leaves it in the queue.
  /// @return false, with `out` untouched, when the queue is empty
  virtual bool Peek(T& out) = 0;

  /// Moves the oldest element into `out`; its owner is now the caller.
  /// @return false, with `out` untouched, when the queue is empty
  virtual bool Pop(T& out) = 0;

  /// Whether no data is waiting, as the data event tells.
  virtual bool IsEmpty() = 0;

  virtual std::int32_t GetCount() = 0;

  /// Waits until the queue holds something.
  ///
  /// With several consumers another may be faster: the queue can be empty again by the next `Pop`.
  /// @param timeoutMs  milliseconds, all bits set for no limit
  /// @return whether it does
  virtual bool WaitForData(std::uint32_t timeoutMs) = 0;

  /// The manual-reset event that is signalled exactly while the queue holds something. For
  /// registration with an engine thread; the queue owns it, and nobody else sets or resets it.
  virtual HANDLE GetEvent() = 0;

 protected:
  ~MThreadSafeFifoOutput() = default;
};

/// The producer's side of a queue.
///
/// Threads: any number of producers.
template <class T, class U>
class MThreadSafeFifoInput {
 public:
  /// Appends an element after the youngest.
  ///
  /// Errors: an `MException` holding an `MErrorOutOfMemory`; the queue is then unchanged.
  virtual void Push(U item) = 0;

  /// Drops every element without deleting what it points to, and frees the storage.
  virtual void Clear() = 0;

 protected:
  ~MThreadSafeFifoInput() = default;
};

/// A queue of pointers from any threads to any threads, first in, first out.
///
/// It never deletes what it is given: whoever pops an element owns it, and what is queued when the
/// queue is destroyed stays with whoever knows of it.
///
/// @tparam T  a pointer type, as popped
/// @tparam U  a pointer type, as pushed; converts to T
template <class T, class U>
class MThreadSafeFifo final : public MThreadSafeFifoOutput<T, U>,
                              public MThreadSafeFifoInput<T, U> {
  static_assert(std::is_pointer_v<T> && std::is_convertible_v<U, T>);

 public:
  /// @param growStep  slots added when a push finds every slot taken; less than 1 counts as 1
  ///
  /// Errors: MThreadSafeFifo.MThreadSafeFifo:CreateEvent with "winErrorCode" when the system has no
  /// event to give; an `MErrorOutOfMemory`.
  explicit MThreadSafeFifo(std::int32_t growStep = 1) : queue_(growStep) {}

  bool Peek(T& out) override {
    void* item = nullptr;
    const bool found = queue_.Peek(&item);
    return Deliver(found, item, out);
  }

  bool Pop(T& out) override {
    void* item = nullptr;
    const bool found = queue_.Pop(&item);
    return Deliver(found, item, out);
  }

  bool IsEmpty() override { return !queue_.WaitForData(0); }
  std::int32_t GetCount() override { return queue_.GetCount(); }
  bool WaitForData(std::uint32_t timeoutMs) override { return queue_.WaitForData(timeoutMs); }
  HANDLE GetEvent() override { return queue_.GetEvent(); }

  void Push(U item) override { queue_.Push(Untyped(item)); }
  void Clear() override { queue_.Clear(); }

  /// As `Push`, unless `refused` is set once the queue's lock is held.
  ///
  /// Whoever sets it and then empties the queue has every element that was pushed this way.
  /// @return whether the element was appended
  [[nodiscard]] bool PushUnless(const std::atomic<bool>& refused, U item) {
    return queue_.PushUnless(refused, Untyped(item));
  }

  /// The number of slots, taken or free: n after n pushes without a pop and with a grow step of 1.
  std::int32_t GetCapacity() { return queue_.GetCapacity(); }

  /// The slot of the oldest element: 0 after a push that added slots, one further after each pop.
  std::int32_t GetHead() { return queue_.GetHead(); }

 private:
  static void* Untyped(U item) {
    return const_cast<void*>(static_cast<const void*>(static_cast<T>(item)));
  }

  static bool Deliver(bool found, void* item, T& out) {
    if (found) {
      out = static_cast<T>(item);
    }
    return found;
  }

  MPointerFifo queue_;
};
