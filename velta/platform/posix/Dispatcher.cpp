// SPDX-License-Identifier: MIT
#include "velta/platform/posix/Dispatcher.h"

namespace Velta::Posix {

constinit FutexLock dispatcherLock;

namespace {

void RemoveNode(WaitableObject* object, WaitNode* node) noexcept {
  (node->previous != nullptr ? node->previous->next : object->firstNode) = node->next;
  (node->next != nullptr ? node->next->previous : object->lastNode) = node->previous;
  node->object = nullptr;
  if (object->firstNode == nullptr) {
    object->word.fetch_and(~kHasWaiters, std::memory_order_relaxed);
  }
}

}  // namespace

void AppendNode(WaitableObject* object, Waiter* waiter, std::uint32_t index) noexcept {
  WaitNode* const node = &waiter->nodes[index];
  *node = {waiter, object, object->lastNode, nullptr};
  (node->previous != nullptr ? node->previous->next : object->firstNode) = node;
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
