// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Velta::Logging {

/// Shows on the error stream how far a long input has been read, if that is a terminal.
///
/// The line appears only after reading has taken a noticeable time; destruction clears it.
class Progress {
 public:
  /// @param total  bytes to come; 0 if unknown
  explicit Progress(std::uint64_t total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void Advance(std::uint64_t bytes);

 private:
  using Clock = std::chrono::steady_clock;

  void Draw(const std::string& text);

  std::uint64_t total_;
  std::uint64_t done_ = 0;
  bool watched_;
  Clock::time_point nextDraw_;
  std::size_t drawnLength_ = 0;
};

}  // namespace Velta::Logging
