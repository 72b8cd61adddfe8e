// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Win32Subset.h"

#include <atomic>
#include <cstdint>

namespace Velta::Posix {

/// Threads to wake once a lock is released, so that they do not wake up only to wait for it.
///
/// Their waits have ended already; what is left is to end their sleep. Whoever fills a list calls
/// `WakeAll`, soon: until then they sleep on.
class WakeList {
 public:
  void Add(const Atomic<std::uint32_t>* word) noexcept;

  /// Wakes them all and empties the list.
  void WakeAll() noexcept {
    if (count_ != 0) {
      WakeEach();
    }
  }

 private:
  void WakeEach() noexcept;

  static constexpr int kCapacity = 32;
  const Atomic<std::uint32_t>* words_[kCapacity];
  int count_ = 0;
};

/// `SetEvent`, with the sleepers that are to be woken left to the caller.
BOOL SetEventAndNote(HANDLE handle, WakeList* wakes) noexcept;

}  // namespace Velta::Posix
