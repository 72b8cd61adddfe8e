// SPDX-License-Identifier: MIT
#pragma once

namespace Velta::Posix {

// Stands in for the header of this name: one look has the schedules of many.
inline constexpr int kLockPauses = 1;
inline constexpr int kSectionPauses = 1;
inline constexpr int kWaitPauses = 1;

}  // namespace Velta::Posix
