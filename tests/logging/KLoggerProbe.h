// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/LoggedEvents.h"
#include "velta/logging/KLogger.h"
#include "velta/logging/internal/KLogWords.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

using RecordWords = std::array<std::uint64_t, 5>;

inline bool operator==(const KLogRecord& a, const KLogRecord& b) {
  return std::bit_cast<RecordWords>(a) == std::bit_cast<RecordWords>(b);
}

/// What tests need of a log beyond its interface.
struct KLoggerProbe {
  static std::atomic<std::uint32_t>& Counter(KLogger& log) { return log.counter; }
  static const auto& Names(const KLogger& log) { return log.names; }
  static const auto& States(const KLogger& log) { return log.stateNames; }
  static const auto& Threads(const KLogger& log) { return log.threadNames; }
  static const auto& Objects(const KLogger& log) { return log.objectNames; }
  static bool& Initialised(KGuardedLock& lock) { return lock.initialised; }

  static KLogRecord Record(const KLogger& log, std::uint32_t slot) { return log.ReadRecord(slot); }
  static void SetRecord(KLogger& log, std::uint32_t slot, const KLogRecord& record) {
    std::size_t at = Velta::Logging::KLogWords::Offset(slot);
    for (const std::uint64_t word : std::bit_cast<RecordWords>(record)) {
      Velta::Logging::KLogWords::Store(log.records[at++], word);
    }
  }
  static void DropBuffer(KLogger& log) {
    std::free(log.records);
    log.records = nullptr;
  }

  static std::int64_t StartSeconds(const KLogger& log) { return log.startWallClock.time; }
  static void SetClock(KLogger& log, std::int64_t frequency, std::int64_t startCounter,
                       std::int64_t wallSeconds, std::uint16_t wallMillis) {
    log.frequency = frequency;
    log.startCounter = startCounter;
    log.startWallClock.time = wallSeconds;
    log.startWallClock.millitm = wallMillis;
  }
};

inline const void* Address(std::uint64_t value) { return reinterpret_cast<const void*>(value); }

inline std::vector<LoggedEvent> DumpEvents(KLogger& log) {
  std::ostringstream text;
  KLogger::Dump(&log, text);
  return LogReader::Events(text.str());
}
