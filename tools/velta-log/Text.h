// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Velta::Logging {

class Output;

/// As dumps write addresses: 16 upper-case hexadecimal digits.
[[nodiscard]] std::string AddressText(std::uint64_t object);

/// "4.213 ms", in the unit that keeps the number readable.
[[nodiscard]] std::string DurationText(Micros duration);

/// "0.004213", as dumps write times.
[[nodiscard]] std::string SecondsText(Micros time);

/// "2.50", a ratio.
[[nodiscard]] std::string FactorText(double factor);

/// "12 records", "1 record".
[[nodiscard]] std::string CountText(std::uint64_t count, std::string_view noun);

/// As many rows as there are.
inline constexpr std::size_t kAll = static_cast<std::size_t>(-1);

/// Rows of cells, printed in columns as wide as their widest cell.
class Table {
 public:
  /// @param titles  one a column; one that begins with ">" has its column aligned right
  explicit Table(const std::vector<std::string_view>& titles);

  void Add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

  /// Prints at most `most` rows and, in a line of its own, how many more there are.
  void Print(Output& output, std::size_t most) const;

  [[nodiscard]] bool IsEmpty() const noexcept { return rows_.empty(); }

 private:
  std::vector<bool> alignsRight_;
  std::vector<std::string> headings_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace Velta::Logging
