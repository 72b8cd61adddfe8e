// SPDX-License-Identifier: MIT
#include "velta/platform/posix/WakeList.h"

#include "velta/platform/posix/Futex.h"

namespace Velta::Posix {

void WakeList::Add(const Atomic<std::uint32_t>* word) noexcept {
  if (count_ == kCapacity) {
    FutexWake(word, 1);  // hardly ever do so many sleep on one event: let these meet the lock
    return;
  }
  words_[count_++] = word;
}

void WakeList::WakeEach() noexcept {
  for (int i = 0; i < count_; ++i) {
    FutexWake(words_[i], 1);
  }
  count_ = 0;
}

}  // namespace Velta::Posix
