// SPDX-License-Identifier: MIT
#pragma once

/// Counts and refuses the allocations that the calling thread makes with `new`.
///
/// For programs that list `support/Allocations.cpp`, which replaces the global operators.
namespace Allocations {

inline constexpr int kUnlimited = -1;

/// How many the calling thread has asked for since `Reset`, refused ones included.
[[nodiscard]] int Count() noexcept;
void Reset() noexcept;

/// Grants the calling thread `count` more, and refuses all that follow.
void Allow(int count) noexcept;

/// Runs `action` with no allocation granted, then one, and so on, until a run is refused none.
///
/// @return how many runs were refused something
template <typename Action>
int RefuseEverywhere(Action action) {
  for (int granted = 0;; ++granted) {
    Reset();
    Allow(granted);
    action();
    Allow(kUnlimited);
    if (Count() <= granted) return granted;
  }
}

}  // namespace Allocations
