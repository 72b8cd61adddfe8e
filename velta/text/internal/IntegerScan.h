// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>

namespace Velta::Text {

/// Reads an integer as a stream under the classic locale extracts it: after white space, with an
/// optional sign, up to the first character that is no digit.
///
/// A minus sign before an unsigned number negates it modulo its range, as it does there.
/// @return nothing when there is no digit or the number does not fit
template <std::integral T>
  requires(sizeof(T) < sizeof(std::uint64_t))
std::optional<T> ScanInteger(std::wstring_view text) noexcept {
  const std::size_t start = text.find_first_not_of(L" \t\n\v\f\r");
  text.remove_prefix(start != std::wstring_view::npos ? start : text.size());
  const bool negative = !text.empty() && text.front() == L'-';
  if (negative || (!text.empty() && text.front() == L'+')) {
    text.remove_prefix(1);
  }
  constexpr auto kMax = static_cast<std::uint64_t>((std::numeric_limits<T>::max)());
  const std::uint64_t limit = kMax + (std::is_signed_v<T> && negative ? 1 : 0);
  std::uint64_t magnitude = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && text[digits] >= L'0' && text[digits] <= L'9'; ++digits) {
    magnitude = magnitude * 10 + static_cast<std::uint64_t>(text[digits] - L'0');
    if (magnitude > limit) {
      return std::nullopt;
    }
  }
  if (digits == 0) {
    return std::nullopt;
  }
  return static_cast<T>(negative ? 0 - magnitude : magnitude);
}

}  // namespace Velta::Text
