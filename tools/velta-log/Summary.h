// SPDX-License-Identifier: MIT
#pragma once

#include "Histories.h"
#include "Log.h"
#include "Scopes.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Velta::Logging {

class JsonWriter;

/// Totals of a class, or of one of its operations.
struct Activity {
  std::uint64_t records = 0;
  std::uint64_t scopes = 0;
  std::uint64_t errors = 0;
  std::uint64_t constructions = 0;
  std::uint64_t destructions = 0;
  Micros total = 0;  ///< in scopes; while one contains another of the same, the outer one counts
  Micros self = 0;   ///< in scopes, without their direct inner scopes
};

/// Of the scopes with both ends in the log, in microseconds; by nearest rank.
struct Percentiles {
  std::uint64_t count = 0;
  Micros median = 0;
  Micros p90 = 0;
  Micros p99 = 0;
  Micros longest = 0;
};

struct ThreadActivity {
  std::uint64_t records = 0;
  std::uint64_t scopes = 0;
  std::uint64_t errors = 0;
  Micros begin = 0;
  Micros end = 0;
  Micros inScopes = 0;
};

/// How often one error was raised, returned, dismissed, or warned of.
struct ErrorCount {
  std::uint64_t count = 0;
  std::uint32_t firstRecord = 0;
};

/// A log in numbers.
struct Summary {
  std::map<std::string, std::uint64_t> events;  ///< by event name
  std::vector<ThreadActivity> threads;          ///< as in the log
  std::map<NameId, Activity> classes;
  std::vector<Activity> operations;  ///< as in the log
  std::vector<Percentiles> percentiles;
  std::map<std::pair<std::int32_t, std::string>, ErrorCount>
      errors;  ///< by event code and error code
  std::vector<StateHistory> histories;
  std::vector<std::uint32_t> neverClosed;  ///< scopes
  std::uint64_t neverOpened = 0;           ///< scopes whose entry the ring has overwritten
  std::uint64_t strayExits = 0;
};

[[nodiscard]] Summary Summarise(const Log& log, const Scopes& scopes);

/// Writes it as one JSON object; threads and operations stand in the log's own order.
void WriteSummaryJson(const Log& log, const Scopes& scopes, const Summary& summary,
                      JsonWriter& json);

}  // namespace Velta::Logging
