// SPDX-License-Identifier: MIT
#include "velta/platform/posix/Dispatcher.h"

#include "velta/platform/internal/Assert.h"

#include <atomic>
#include <cstdint>

namespace Velta::Posix {

constinit FutexLock dispatcherLock;

namespace {

void RemoveNode(WaitableObject* object, WaitNode* node) noexcept VELTA_REQUIRES(dispatcherLock) {
  VELTA_ASSERT(node->object == object);
  if (node->previous != nullptr) {
    VELTA_ASSERT(node->previous->next == node);
    node->previous->next = node->next;
  } else {
    VELTA_ASSERT(object->firstNode == node);
    object->firstNode = node->next;
  }
  if (node->next != nullptr) {
    VELTA_ASSERT(node->next->previous == node);
    node->next->previous = node->previous;
  } else {
    VELTA_ASSERT(object->lastNode == node);
    object->lastNode = node->previous;
  }
  node->object = nullptr;
  if (object->firstNode == nullptr) {
    const std::uint64_t was = object->word.fetch_and(~kHasWaiters, std::memory_order_relaxed);
    VELTA_ASSERT((was & kHasWaiters) != 0);
  }
}

}  // namespace

void AppendNode(WaitableObject* object, Waiter* waiter, std::uint32_t index) noexcept {
  VELTA_ASSERT(waiter->count == index && index < MAXIMUM_WAIT_OBJECTS);
  VELTA_ASSERT((object->word.load(std::memory_order_relaxed) & kHasWaiters) != 0);
  WaitNode* const node = &waiter->nodes[index];
  *node = {waiter, object, object->lastNode, nullptr};
  if (node->previous != nullptr) {
    node->previous->next = node;
  } else {
    object->firstNode = node;
  }
  object->lastNode = node;
  waiter->count = index + 1;
}

void RemoveNodes(Waiter* waiter) noexcept {
  for (std::uint32_t i = 0; i < waiter->count; ++i) {
    WaitNode* const node = &waiter->nodes[i];
    if (node->object != nullptr) {
      RemoveNode(node->object, node);
    }
  }
}

bool SatisfyFirst(WaitableObject* object, WakeList* wakes) noexcept {
  WaitNode* const node = object->firstNode;
  if (node == nullptr) {
    return false;
  }
  Waiter* const waiter = node->waiter;
  const auto index = static_cast<std::uint32_t>(node - waiter->nodes);
  RemoveNodes(waiter);
  const std::uint32_t was = waiter->word.exchange(index, std::memory_order_acq_rel);
  VELTA_ASSERT(!Waiter::IsSatisfied(was));
  if (was == Waiter::kAsleep) {
    wakes->Add(&waiter->word);
  }
  return true;
}

void AbandonNodes(WaitableObject* object) noexcept {
  while (object->firstNode != nullptr) {
    RemoveNode(object, object->firstNode);
  }
}

}  // namespace Velta::Posix
