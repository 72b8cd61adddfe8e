// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

/// Counts over one file or over many.
struct Totals {
  std::uint64_t bytes = 0;
  std::uint64_t lines = 0;  ///< line feeds
  std::uint64_t words = 0;  ///< runs of anything but white space

  Totals& operator+=(const Totals& other) noexcept {
    bytes += other.bytes;
    lines += other.lines;
    words += other.words;
    return *this;
  }
};

/// Counts content that comes in blocks, as "wc" does, and computes its CRC-32, as "zip" does.
class ContentCounter {
 public:
  void Add(const unsigned char* data, std::size_t length) noexcept;

  [[nodiscard]] const Totals& GetTotals() const noexcept { return totals_; }
  [[nodiscard]] std::uint32_t GetChecksum() const noexcept { return ~remainder_; }

 private:
  Totals totals_;
  std::uint32_t remainder_ = 0xFFFFFFFF;
  bool inWord_ = false;  // a word may go on in the next block
};

}  // namespace host
