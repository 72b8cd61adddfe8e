// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// One event of the log: 40 bytes without gaps, so that `object` is not aligned.
///
/// In the log itself a record is five 64-bit words; this is what they mean, in memory order. A
/// record whose bytes are all zero was never written.
struct KLogRecord {
  std::int64_t time;       ///< counter value when the event was written, in ticks
  std::int32_t code;       ///< event code, see `KLogger`
  std::int32_t value1;     ///< error name key, state, message key or first timing value
  std::int32_t value2;     ///< source line, or second timing value
  std::int32_t classKey;   ///< key of the class name
  std::int32_t pointKey;   ///< key of the operation's name
  std::uint64_t object;    ///< address of the object concerned
  std::uint32_t threadId;  ///< the system's id of the thread that wrote the record
};

#pragma pack(pop)

static_assert(sizeof(KLogRecord) == 40);
static_assert(offsetof(KLogRecord, object) == 28 && offsetof(KLogRecord, threadId) == 36);
