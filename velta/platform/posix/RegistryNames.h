// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace Velta::Posix {

/// The name of a key or value as the name of a file.
///
/// Lower-case letters, digits, "-", "_" and " " stand for themselves, everything else is escaped:
/// no name holds a "/" or a ".", so none leaves its folder or meets what follows it after a
/// ".". A name that would be too long is cut and ends in a hash of the whole.
class EncodedName {
 public:
  /// Names that are equal without case have one folded form; the other keeps the case.
  enum class Case : bool { kFolded, kKept };

  EncodedName(std::wstring_view name, Case spelling) noexcept;

  [[nodiscard]] const char* Text() const noexcept { return text_; }
  [[nodiscard]] std::size_t Length() const noexcept { return length_; }

 private:
  static constexpr std::size_t kMaxPlain = 200;  // leaves room for what follows in 255 bytes
  static constexpr std::size_t kHashed = 160;    // what is kept of a longer one

  std::size_t length_ = 0;
  char text_[kMaxPlain + 16];
};

}  // namespace Velta::Posix
