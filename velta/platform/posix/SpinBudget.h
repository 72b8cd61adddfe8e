// SPDX-License-Identifier: MIT
#pragma once

namespace Velta::Posix {

/// Decides, per thread, whether a wait polls for a while before it sleeps.
///
/// Polling saves two system calls and a wake-up across processors when the signal comes from a
/// thread that runs at the same time. It only steals that thread's time when the two share a
/// processor, so a thread for which it does not pay stops, and tries again ever more rarely.
class SpinBudget {
 public:
  [[nodiscard]] bool MaySpin() noexcept {
    if (waitsToSkip == 0) {
      return true;
    }
    --waitsToSkip;
    return false;
  }

  void Report(bool satisfied) noexcept {
    if (satisfied) {
      misses = 0;
      pause = kFirstPause;
      return;
    }
    if (++misses < kMisses) {
      return;
    }
    waitsToSkip = pause;
    if (pause < kLongestPause) {
      pause *= 2;
    }
  }

 private:
  static constexpr int kMisses = 3;
  static constexpr int kFirstPause = 64;
  static constexpr int kLongestPause = 8192;

  int misses = 0;
  int waitsToSkip = 0;
  int pause = kFirstPause;
};

}  // namespace Velta::Posix
