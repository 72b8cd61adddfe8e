// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/FutexLock.h"
#include "velta/platform/posix/ObjectTable.h"
#include "velta/platform/posix/WakeList.h"

#include <atomic>
#include <cstdint>

namespace Velta::Posix {

struct Waiter;

/// One of a waiter's places in an object's list.
struct WaitNode {
  Waiter* waiter;
  WaitableObject* object;  // null once out of the list
  WaitNode* previous;
  WaitNode* next;
};

/// A thread in a wait; lives on that thread's stack.
///
/// Whoever satisfies it takes all its nodes out of their lists first and touches it no more once
/// the word is written. So the thread may return, and close what it waited for, at that very
/// moment.
struct Waiter {
  static constexpr std::uint32_t kWaiting = 0xFFFFFFFF;
  static constexpr std::uint32_t kAsleep = 0xFFFFFFFE;

  std::atomic<std::uint32_t> word{kWaiting};  // else the index of the object that ended the wait
  std::uint32_t count = 0;                    // how many nodes are in use
  WaitNode nodes[MAXIMUM_WAIT_OBJECTS];       // node i belongs to handle i
};

/// Guards every list of waiters. Under it nothing allocates, logs, or calls out.
VELTA_POSIX_HIDDEN extern constinit FutexLock dispatcherLock;

// All below: only under the lock.

/// Puts a node at the end of the object's list. The word must have kHasWaiters already.
void AppendNode(WaitableObject* object, Waiter* waiter, std::uint32_t index) noexcept;

/// Takes all nodes of the waiter out of the lists that they are still in.
void RemoveNodes(Waiter* waiter) noexcept;

/// Ends the wait of the first in the object's list; false when there is none.
bool SatisfyFirst(WaitableObject* object, WakeList* wakes) noexcept;

/// Empties the list of an object that can no longer be signalled; its waiters wait on.
void AbandonNodes(WaitableObject* object) noexcept;

}  // namespace Velta::Posix
