// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

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

/// Runs `action` with that many granted. @return whether it was refused any
template <typename Action>
bool IsRefused(int granted, Action action, int refused = kUnlimited) {
  Reset();
  Allow(granted, refused);
  action();
  Allow(kUnlimited);
  return Count() > granted;
}

/// Runs `action` with no allocation granted, then one, and so on, until a run is refused none.
///
/// @param refused  how many are refused in each run
/// @return how many runs were refused something
template <typename Action>
int RefuseEverywhere(Action action, int refused = kUnlimited) {
  int granted = 0;
  while (IsRefused(granted, action, refused)) {
    ++granted;
  }
  return granted;
}

/// Calls `attempt` with 0, 1, ... until it returns that it was refused nothing, and sees that no
/// attempt leaves a block.
template <typename Attempt>
void WithLittle(Attempt attempt) {
  bool wasRefused = true;
  for (int granted = 0; wasRefused; ++granted) {
    SCOPED_TRACE(granted);
    const int before = Live();
    wasRefused = attempt(granted);
    ASSERT_FALSE(testing::Test::HasFatalFailure());
    ASSERT_EQ(Live(), before);
  }
}

}  // namespace Allocations
