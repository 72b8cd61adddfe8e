// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Velta::Logging {

/// What could not be read of a file.
struct Damage {
  struct Place {
    std::uint64_t line;  ///< counted from 1
    std::string_view problem;
  };
  std::uint64_t count = 0;
  std::vector<Place> places;  ///< the first few

  void Report(std::uint64_t line, std::string_view problem) {
    constexpr std::size_t kReportedPlaces = 10;
    ++count;
    if (places.size() < kReportedPlaces) {
      places.push_back({line, problem});
    }
  }
};

}  // namespace Velta::Logging
