// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

/// What a saver saves as its n-th version: of another length each, and whole or nothing.
inline std::string ContentOf(int version) {
  const auto length = static_cast<std::size_t>(version) * 7919 % 100000;
  const std::string number = std::to_string(version);
  return number + ':' + std::string(length, static_cast<char>('a' + version % 26)) + ':' + number;
}
