// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Win32Subset.h"

/// A simulated set has nobody to wake: the scheduler decides who goes on.
namespace Velta::Posix {

struct WakeList {
  void WakeAll() const noexcept {}
};

inline BOOL SetEventAndNote(HANDLE event, WakeList* /*wakes*/) noexcept {
  return ::SetEvent(event);
}

}  // namespace Velta::Posix
