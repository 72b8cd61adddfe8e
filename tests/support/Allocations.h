// SPDX-License-Identifier: MIT
#pragma once

/// Counts and refuses the allocations that the calling thread makes with `new`.
///
/// For programs that list `tests/support/Allocations.cpp`, which replaces the global operators.
namespace Allocations {

inline constexpr int kUnlimited = -1;

/// How many the calling thread has asked for since `Reset`, refused ones included.
[[nodiscard]] int Count() noexcept;
void Reset() noexcept;

/// How many there are now, of all threads.
[[nodiscard]] int Live() noexcept;

/// Grants the calling thread `count` more, refuses the `refused` that follow, and grants the rest.
void Allow(int count, int refused = kUnlimited) noexcept;

/// Runs `action` with no allocation granted, then one, and so on, until a run is refused none.
///
/// @param refused  how many are refused in each run
/// @return how many runs were refused something
template <typename Action>
int RefuseEverywhere(Action action, int refused = kUnlimited) {
  for (int granted = 0;; ++granted) {
    Reset();
    Allow(granted, refused);
    action();
    Allow(kUnlimited);
    if (Count() <= granted) return granted;
  }
}

}  // namespace Allocations
