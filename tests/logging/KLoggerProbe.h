// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/LoggedEvents.h"
#include "velta/logging/KLogger.h"
#include "velta/logging/internal/KLogWords.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

inline bool operator==(const KLogRecord& a, const KLogRecord& b) {
  return std::bit_cast<std::array<std::uint64_t, 5>>(a) ==
         std::bit_cast<std::array<std::uint64_t, 5>>(b);
}

/// What tests need of a log beyond its interface.
struct KLoggerProbe {
  static std::uint32_t Counter(const KLogger& log) { return log.counter.load(); }
  static void SetCounter(KLogger& log, std::uint32_t counter) { log.counter.store(counter); }

  static KLogRecord Record(const KLogger& log, std::uint32_t slot) { return log.ReadRecord(slot); }
  static void SetRecord(KLogger& log, std::uint32_t slot, const KLogRecord& record) {
    const auto words = std::bit_cast<std::array<std::uint64_t, 5>>(record);
    for (std::size_t i = 0; i < words.size(); ++i) {
      Velta::Logging::KLogWords::Store(log.records[Velta::Logging::KLogWords::Offset(slot) + i],
                                       words[i]);
    }
  }
  static void DropBuffer(KLogger& log) {
    std::free(log.records);
    log.records = nullptr;
  }

  static void SetClock(KLogger& log, std::int64_t frequency, std::int64_t startCounter,
                       std::int64_t wallSeconds, std::uint16_t wallMillis) {
    log.frequency = frequency;
    log.startCounter = startCounter;
    log.startWallClock.time = wallSeconds;
    log.startWallClock.millitm = wallMillis;
  }
  static std::int64_t StartSeconds(const KLogger& log) { return log.startWallClock.time; }

  static const std::map<std::int32_t, std::string>& Names(const KLogger& log) { return log.names; }
  static const std::map<std::int32_t, std::string>& States(const KLogger& log) {
    return log.stateNames;
  }
  static const std::map<std::int32_t, std::string>& Threads(const KLogger& log) {
    return log.threadNames;
  }
  static const std::map<std::uint64_t, std::string>& Objects(const KLogger& log) {
    return log.objectNames;
  }

  static void SetInitialised(KGuardedLock& lock, bool initialised) {
    lock.initialised = initialised;
  }
};

inline const void* Address(std::uint64_t value) { return reinterpret_cast<const void*>(value); }

inline std::string DumpText(KLogger& log) {
  std::ostringstream text;
  KLogger::Dump(&log, text);
  return text.str();
}

inline std::vector<LoggedEvent> DumpEvents(KLogger& log) {
  return LogReader::Events(DumpText(log));
}
