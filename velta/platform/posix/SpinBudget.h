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
    if (waitsToSkip_ == 0) {
      return true;
    }
    --waitsToSkip_;
    return false;
  }

  void Report(bool satisfied) noexcept {
    if (satisfied) {
      misses_ = 0;
      pause_ = kFirstPause;
      return;
    }
    if (++misses_ < kMisses) {
      return;
    }
    waitsToSkip_ = pause_;
    if (pause_ < kLongestPause) {
      pause_ *= 2;
    }
  }

 private:
  static constexpr int kMisses = 3;
  static constexpr int kFirstPause = 64;
  static constexpr int kLongestPause = 8192;

  int misses_ = 0;
  int waitsToSkip_ = 0;
  int pause_ = kFirstPause;
};

}  // namespace Velta::Posix
