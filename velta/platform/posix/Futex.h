// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Atomic.h"

#include <cstdint>

#include <time.h>

namespace Velta::Posix {

/// Sleeps while `*word` holds `expected`, until woken. May return for no reason: look again.
///
/// @param deadline  a point on CLOCK_MONOTONIC, or null for none
/// @return false when the deadline has passed
///
/// Keeps `errno`: Win32's waits do not touch it.
bool FutexWait(const Atomic<std::uint32_t>* word, std::uint32_t expected,
               const timespec* deadline) noexcept;

/// Wakes up to `count` sleepers. Only the address counts: the word may be gone already, and whoever
/// sleeps on what lies there now takes it for a wake-up without a reason.
void FutexWake(const Atomic<std::uint32_t>* word, int count) noexcept;

/// A breath in a loop that polls memory.
inline void SpinPause() noexcept {
#if defined(__x86_64__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ __volatile__("isb");  // most cores take `yield` for nothing; this empties the pipeline
#endif
}

}  // namespace Velta::Posix
