// SPDX-License-Identifier: MIT
#include "Text.h"

#include "Files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace Velta::Logging {
namespace {

/// Characters, not bytes: continuation bytes take no room.
std::size_t Width(std::string_view utf8) {
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
  }));
}

}  // namespace

std::string AddressText(std::uint64_t object) {
  std::string text(16, '0');
  for (std::size_t i = 16; i-- > 0; object >>= 4) {
    text[i] = "0123456789ABCDEF"[object & 0xF];
  }
  return text;
}

std::string DurationText(Micros duration) {
  const auto amount = static_cast<double>(duration);
  char text[40];
  if (duration < 1000) {
    std::snprintf(text, sizeof text, "%lld us", static_cast<long long>(duration));
  } else if (duration < 1'000'000) {
    std::snprintf(text, sizeof text, "%.3g ms", amount / 1e3);
  } else {
    std::snprintf(text, sizeof text, "%.3f s", amount / 1e6);
  }
  return text;
}

std::string SecondsText(Micros time) {
  char text[40];
  std::snprintf(text, sizeof text, "%s%lld.%06lld", time < 0 ? "-" : "",
                static_cast<long long>(std::abs(time / 1'000'000)),
                static_cast<long long>(std::abs(time % 1'000'000)));
  return text;
}

std::string FactorText(double factor) {
  char text[40];
  std::snprintf(text, sizeof text, "%.2f", factor);
  return text;
}

std::string CountText(std::uint64_t count, std::string_view noun) {
  std::string text = std::to_string(count) + ' ';
  text += noun;
  if (count != 1) {
    text += noun.ends_with('s') ? "es" : "s";
  }
  return text;
}

Table::Table(const std::vector<std::string_view>& titles) {
  for (const std::string_view title : titles) {
    alignsRight_.push_back(title.starts_with('>'));
    headings_.emplace_back(title.substr(alignsRight_.back() ? 1 : 0));
  }
}

void Table::Print(Output& output, std::size_t most) const {
  const std::size_t shown = std::min(most, rows_.size());
  std::vector<std::size_t> widths;
  for (std::size_t column = 0; column < headings_.size(); ++column) {
    std::size_t width = Width(headings_[column]);
    for (std::size_t row = 0; row < shown; ++row) {
      width = std::max(width, Width(rows_[row][column]));
    }
    widths.push_back(width);
  }
  const auto print = [&](const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t column = 0; column < cells.size(); ++column) {
      const std::string blanks(widths[column] - Width(cells[column]), ' ');
      line += "  ";
      line += alignsRight_[column] ? blanks + cells[column] : cells[column] + blanks;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    output.Write(line + '\n');
  };
  print(headings_);
  for (std::size_t row = 0; row < shown; ++row) {
    print(rows_[row]);
  }
  if (shown < rows_.size()) {
    output.Write("  ... and " + std::to_string(rows_.size() - shown) + " more\n");
  }
}

}  // namespace Velta::Logging
