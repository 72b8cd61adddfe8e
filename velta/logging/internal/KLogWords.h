// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/KLogRecord.h"

#include <atomic>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>

/// How a record lies in the ring: five aligned words, each stored and loaded at once. A reader may
/// meet a writer at any word; relaxed atomics make that defined and cost what plain moves do.
namespace KLogWords {

inline constexpr std::size_t kPerRecord = sizeof(KLogRecord) / sizeof(std::uint64_t);

// The packed record's fields fall into the words in this order only.
static_assert(std::endian::native == std::endian::little);

[[nodiscard]] inline std::size_t Offset(std::uint32_t slot) noexcept { return slot * kPerRecord; }

/// One word out of the low 32 bits of two fields, in memory order.
[[nodiscard]] inline std::uint64_t Join(std::integral auto first,
                                        std::integral auto second) noexcept {
  return static_cast<std::uint32_t>(first) |
         static_cast<std::uint64_t>(static_cast<std::uint32_t>(second)) << 32U;
}

inline void Store(std::uint64_t& word, std::uint64_t value) noexcept {
  std::atomic_ref(word).store(value, std::memory_order_relaxed);
}

[[nodiscard]] inline std::uint64_t Load(std::uint64_t& word) noexcept {
  return std::atomic_ref(word).load(std::memory_order_relaxed);
}

}  // namespace KLogWords
