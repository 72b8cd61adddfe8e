// SPDX-License-Identifier: MIT
#pragma once

// How events, thread handles and waits work together.
//
// An object, an event or a thread, has a slot in a table (ObjectTable.h). Its whole state is one
// word of flags, with the generation of the slot above them. A call through a handle
// compares-and-exchanges that word: with another generation, or without kOpen, nothing happens and
// the handle is refused. Setting, resetting and closing what nobody waits for, and taking what is
// set, is that one step (Events.cpp, Waits.cpp).
//
// A thread that has to wait enters itself into the list of every object it waits for, under the one
// dispatcher lock, and marks the objects with kHasWaiters. Whoever would set or close a marked
// object takes the lock too, ends the waits, and wakes the threads after releasing it.
//
// The word of an object. Whenever the lock is free, kHasWaiters says that the list is not empty,
// and an object with kHasWaiters is not kSignalled.
//
// | state                        | becomes           | by                 | in one step of       |
// |------------------------------|-------------------|--------------------|----------------------|
// | free: no kOpen               | open, perhaps set | Publish            | a store              |
// | open, without waiters        | signalled         | SetEvent           | CAS                  |
// | open or closed, no waiters   | signalled         | SignalThreadEnd    | CAS                  |
// | open                         | not signalled     | ResetEvent         | CAS                  |
// | automatic event, signalled   | not signalled     | the wait taking it | CAS                  |
// | open, without waiters        | closed            | CloseHandle        | CAS                  |
// | open, not signalled          | with waiters      | TakeOrEnlist       | lock, CAS, list      |
// | automatic event with waiters | as it is          | SetEvent           | lock, one wait ended |
// | manual event with waiters    | signalled         | SetEvent           | lock, CAS, all ended |
// | thread with waiters          | signalled         | SignalThreadEnd    | lock, OR, all ended  |
// | with waiters                 | without           | RemoveNode         | lock, list, AND      |
// | event with waiters           | closed            | CloseHandle        | lock, CAS, list      |
// | running thread with waiters  | closed, with them | CloseHandle        | lock, CAS            |
// | closed event, ended thread   | free              | RecycleObject      | see 5.               |
//
// The word of a waiter, which lives on the stack of the thread that waits.
//
// | state    | becomes  | by                                                        |
// |----------|----------|-----------------------------------------------------------|
// | kWaiting | kAsleep  | its thread, before it sleeps: CAS                         |
// | kWaiting | an index | SatisfyFirst, under the lock: it is awake, nobody wakes it |
// | kAsleep  | an index | SatisfyFirst, under the lock, which then has it woken     |
//
// What must not be swapped:
//
// 1. A waiter looks and marks in one CAS, from not signalled to kHasWaiters. With a step between, a
//    set that falls into it would wake nobody.
// 2. SatisfyFirst removes all nodes of the waiter, then writes its word, then touches neither
//    waiter nor object: from that write on the thread may return, and close the object.
// 3. A thread writes kAsleep before it sleeps, and whoever ends its wait exchanges the word: one
//    of the two sees the other. The wake-up call is made after the lock is released, by the word's
//    address alone.
// 4. After its deadline a thread looks at its word once more, under the lock, before it removes its
//    nodes: a signal that has come counts, or an automatic event would lose it.
// 5. CloseHandle clears kOpen first, then empties an event's list, then recycles the slot. The end
//    of a thread and the closing of its handle are one CAS each on one word: the later of the two
//    recycles the slot.
// 6. Publish stores the word last: it is what a late call with an old handle compares.
//
// Who sees what, on processors that reorder: a set releases on the object's word, and a wait that
// it ends acquires there, or on the waiter's word. Every other change of a word is a
// read-modify-write, so it passes an earlier release on. A first look before a compare-and-exchange
// is relaxed: it is a guess. Lists and nodes are ordered by the lock.

#include "velta/platform/ThreadSafety.h"
#include "velta/platform/posix/Atomic.h"
#include "velta/platform/posix/FutexLock.h"
#include "velta/platform/posix/ObjectTable.h"
#include "velta/platform/posix/WakeList.h"

#include <cstdint>

namespace Velta::Posix {

struct Waiter;

/// One of a waiter's places in an object's list.
struct WaitNode {
  Waiter* waiter VELTA_GUARDED_BY(dispatcherLock);
  WaitableObject* object VELTA_GUARDED_BY(dispatcherLock);  // null once out of the list
  WaitNode* previous VELTA_GUARDED_BY(dispatcherLock);
  WaitNode* next VELTA_GUARDED_BY(dispatcherLock);
};

/// A thread in a wait; lives on that thread's stack.
struct Waiter {
  static constexpr std::uint32_t kWaiting = 0xFFFFFFFF;
  static constexpr std::uint32_t kAsleep = 0xFFFFFFFE;

  /// Whether the word is the index of the object that ended the wait.
  static constexpr bool IsSatisfied(std::uint32_t word) noexcept {
    return word < MAXIMUM_WAIT_OBJECTS;
  }

  /// Whether an object's list has a node of it. For its own thread, when the wait has ended: then
  /// nobody else touches it, and there is no need of the lock.
  [[nodiscard]] bool IsListed() const noexcept VELTA_NO_THREAD_SAFETY_ANALYSIS {
    for (std::uint32_t i = 0; i < count; ++i) {
      if (nodes[i].object != nullptr) {
        return true;
      }
    }
    return false;
  }

  Atomic<std::uint32_t> word{kWaiting};
  std::uint32_t count VELTA_GUARDED_BY(dispatcherLock) = 0;  // how many nodes are in use
  // Node i belongs to handle i.
  WaitNode nodes[MAXIMUM_WAIT_OBJECTS] VELTA_GUARDED_BY(dispatcherLock);
};

/// Puts the waiter's node at the end of the object's list. The word has kHasWaiters already.
///
/// @param index  of the object's handle: 0 first, then one by one
void AppendNode(WaitableObject* object, Waiter* waiter, std::uint32_t index) noexcept
    VELTA_REQUIRES(dispatcherLock);

/// Takes all nodes of the waiter out of the lists that they are still in.
void RemoveNodes(Waiter* waiter) noexcept VELTA_REQUIRES(dispatcherLock);

/// Ends the wait of the first in the object's list; false when there is none.
bool SatisfyFirst(WaitableObject* object, WakeList* wakes) noexcept VELTA_REQUIRES(dispatcherLock);

/// Empties the list of an object that can no longer be signalled; its waiters wait on.
void AbandonNodes(WaitableObject* object) noexcept VELTA_REQUIRES(dispatcherLock);

}  // namespace Velta::Posix
