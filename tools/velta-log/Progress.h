// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace veltalog {

/// Shows on the error stream how far a long input has been read, if that is a terminal.
///
/// The line appears only once reading has taken as long as makes one wonder, and goes when the
/// object does.
class Progress {
 public:
  /// @param expected  bytes to come; 0 when nobody knows
  explicit Progress(std::uint64_t expected);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  void Advance(std::uint64_t bytes);

 private:
  using Clock = std::chrono::steady_clock;

  void Draw(const std::string& text);

  std::uint64_t total;
  std::uint64_t done = 0;
  bool watched;
  Clock::time_point nextDraw;
  std::size_t drawnLength = 0;
};

}  // namespace veltalog
