// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velta::Logging {

using NameId = std::uint32_t;

/// Keeps each name of a dump once, as UTF-8 that can be shown anywhere.
///
/// The log cuts each character of a name to eight bits, so a dump is Latin-1. Control characters
/// become U+FFFD: a name must not steer the terminal that it is printed on.
class NameTable {
 public:
  /// @param latin1  the name as it stands in the dump; copied
  /// @return the same number for the same bytes
  NameId Intern(std::string_view latin1);

  /// Valid as long as the table.
  [[nodiscard]] std::string_view Text(NameId name) const { return shown_[name]; }

  [[nodiscard]] std::size_t Size() const noexcept { return shown_.size(); }

 private:
  std::deque<std::string> shown_;
  std::deque<std::string> raw_;  // the map's keys point into it
  std::unordered_map<std::string_view, NameId> numbers_;
};

}  // namespace Velta::Logging
