// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Win32Subset.h"

#include <atomic>
#include <cstdint>

namespace Velta::Posix {

// A queue sets its event while it holds its critical section. A thread that is woken right there
// often takes over the processor, only to find the section taken and to go back to sleep: two
// changes of threads for nothing. So a thread inside a section notes whom it has to wake, and wakes
// them when it leaves its outermost section, or earlier when it is about to block.
//
// Nothing that holds a section may therefore block outside this folder's calls after setting an
// event. The framework's sections are private and hold to that.

/// Wakes the sleeper at once, or later when the calling thread is inside a critical section.
void WakeWhenOutside(const std::atomic<std::uint32_t>* word) noexcept;

/// To be called before anything that may block.
inline void PayBeforeBlocking() noexcept {
  if (sectionState.owed != 0) PayOwedWakes();
}

}  // namespace Velta::Posix
