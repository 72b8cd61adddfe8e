// SPDX-License-Identifier: MIT
#include "ContentCounter.h"

#include <array>

namespace host {
namespace {

constexpr std::array<std::uint32_t, 256> MakeRemainders() {
  constexpr std::uint32_t kReversedPolynomial = 0xEDB88320;
  std::array<std::uint32_t, 256> remainders{};
  for (std::uint32_t byte = 0; byte < remainders.size(); ++byte) {
    std::uint32_t remainder = byte;
    for (int bit = 0; bit < 8; ++bit) {
      remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? kReversedPolynomial : 0);
    }
    remainders[byte] = remainder;
  }
  return remainders;
}

constexpr std::array<std::uint32_t, 256> kRemainders = MakeRemainders();

bool IsSpace(unsigned char byte) noexcept { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

}  // namespace

void ContentCounter::Add(const unsigned char* data, std::size_t length) noexcept {
  totals_.bytes += length;
  for (const unsigned char* const end = data + length; data != end; ++data) {
    remainder_ = remainder_ >> 8 ^ kRemainders[(remainder_ ^ *data) & 0xFF];
    if (*data == '\n') {
      ++totals_.lines;
    }
    const bool space = IsSpace(*data);
    if (!space && !inWord_) {
      ++totals_.words;
    }
    inWord_ = !space;
  }
}

}  // namespace host
