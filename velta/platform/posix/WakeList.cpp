// SPDX-License-Identifier: MIT
#include "velta/platform/posix/WakeList.h"

#include "velta/platform/posix/Futex.h"

namespace Velta::Posix {

void WakeList::Add(const Atomic<std::uint32_t>* word) noexcept {
  if (count == kCapacity) {
    FutexWake(word, 1);  // hardly ever do so many sleep on one event: let these meet the lock
    return;
  }
  words[count++] = word;
}

void WakeList::WakeEach() noexcept {
  for (int i = 0; i < count; ++i) {
    FutexWake(words[i], 1);
  }
  count = 0;
}

}  // namespace Velta::Posix
