// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/KLogRecord.h"

#if defined(_MSC_VER)
#include <intrin.h>
#endif

#include <atomic>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>

/// How a record lies in the ring: five aligned words, each stored and loaded at once. A word may
/// be read while it is written; relaxed atomics make that defined and cost what plain moves do.
namespace Velta::Logging::KLogWords {

inline constexpr std::size_t kPerRecord = sizeof(KLogRecord) / sizeof(std::uint64_t);

// The packed record's fields fall into the words in this order only.
static_assert(std::endian::native == std::endian::little);

/// Where a slot's record begins, in words. Slots that follow each other lie eight records apart, in
/// tiles of 64: threads that log at once fill different cache lines.
[[nodiscard]] inline std::size_t Offset(std::uint32_t slot) noexcept {
  return ((slot & ~63U) | (slot & 7U) << 3U | (slot >> 3U & 7U)) * kPerRecord;
}

/// The slot so far ahead lies two records further in the same row of a tile: its cache line is
/// fetched for writing while there is time.
inline constexpr std::uint32_t kFetchAhead = 16;

inline void FetchForWriting(const std::uint64_t* words) noexcept {
#if defined(_MSC_VER) && !defined(_M_ARM64)
  _m_prefetchw(words);
#elif defined(_MSC_VER) && !defined(__clang__)
  __prefetch2(words, 16);  // PRFM's PSTL1KEEP: to be stored to, and kept
#else
  __builtin_prefetch(words, 1);
#endif
}

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

}  // namespace Velta::Logging::KLogWords
