// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Velta::Logging {

/// Makes lines of pieces.
class Lines {
 public:
  /// @param longest  bytes; text without line breaks must not fill the memory
  explicit Lines(std::size_t longest) noexcept : longest_(longest) {}

  /// Calls `take` with each line, without its line break; with nothing for one that is too long.
  template <typename TakeLine>
  void Take(std::string_view bytes, TakeLine take) {
    while (!bytes.empty()) {
      const std::size_t end = bytes.find('\n');
      const bool isWhole = end != std::string_view::npos;
      const std::string_view piece = bytes.substr(0, end);
      bytes.remove_prefix(isWhole ? end + 1 : bytes.size());
      if (partialLine_.size() + piece.size() > longest_) {
        skipsLine_ = true;
        partialLine_.clear();
      }
      if (!isWhole) {
        if (!skipsLine_) {
          partialLine_ += piece;
        }
      } else if (skipsLine_) {
        skipsLine_ = false;
        take(std::optional<std::string_view>());
      } else if (partialLine_.empty()) {
        take(std::optional(piece));
      } else {
        partialLine_ += piece;
        take(std::optional<std::string_view>(partialLine_));
        partialLine_.clear();
      }
    }
  }

  /// Whether the last line has no line break.
  [[nodiscard]] bool HasRest() const noexcept { return skipsLine_ || !partialLine_.empty(); }

 private:
  std::size_t longest_;
  bool skipsLine_ = false;
  std::string partialLine_;
};

/// Without the carriage return of text mode.
[[nodiscard]] inline std::string_view WithoutReturn(std::string_view line) noexcept {
  return line.substr(0, line.size() - (line.ends_with('\r') ? 1 : 0));
}

}  // namespace Velta::Logging
