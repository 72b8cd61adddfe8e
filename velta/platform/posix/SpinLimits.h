// SPDX-License-Identifier: MIT
#pragma once

namespace Velta::Posix {

// How often a thread looks again, with a pause before each look, until it goes to sleep. The tests
// that try schedules put another header in place of this one: there a look costs a schedule each.

/// For the dispatcher's lock: the holder is out again within a microsecond.
inline constexpr int kLockPauses = 50;

/// For a critical section. Its owner may be about anything.
inline constexpr int kSectionPauses = 10;

/// For a signal; whether at all, `SpinBudget` decides.
inline constexpr int kWaitPauses = 1000;

}  // namespace Velta::Posix
