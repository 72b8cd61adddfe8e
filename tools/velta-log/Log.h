// SPDX-License-Identifier: MIT
#pragma once

#include "NameTable.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velta::Logging {

/// Stands for "none" wherever a number names a record, a scope or another entry of a table.
inline constexpr std::uint32_t kNone = 0xFFFFFFFF;

/// Microseconds; in a log relative to its first record.
using Micros = std::int64_t;

/// The sum, or the nearest number of 64 bits: a damaged dump's times may be anything.
[[nodiscard]] constexpr Micros AddSaturated(Micros a, Micros b) noexcept {
  using Limits = std::numeric_limits<Micros>;
  if (b > 0) {
    return a > (Limits::max)() - b ? (Limits::max)() : a + b;
  }
  return a < (Limits::min)() - b ? (Limits::min)() : a + b;
}

/// One event, its names replaced by numbers.
struct Record {
  Micros time;
  std::uint64_t object;     ///< address of the object concerned
  std::int32_t code;        ///< see Events.h
  std::int32_t value1;      ///< error name key, state, message key or first timing value
  std::int32_t value2;      ///< source line, or second timing value
  std::uint32_t operation;  ///< index in `Log::operations`
  std::uint32_t thread;     ///< index in `Log::threads`
  NameId subject;           ///< name of the error, state or message; empty for other events
  NameId objectName;
};

/// A class and one of its operations, by their names.
struct Operation {
  NameId className;
  NameId name;
  bool isUnnamed;  ///< the name is the key's number, which another run does not repeat
};

struct Thread {
  std::int32_t id;
  NameId name;
  bool hasNamesake = false;
};

/// What a dump holds.
struct Log {
  NameTable names;
  std::vector<Operation> operations;
  std::vector<Thread> threads;  ///< in the order of their first records
  std::vector<Record> records;  ///< in the order of the dump

  /// What to add to a record's time to get microseconds since 1970 in the writer's local time;
  /// empty if the dump does not say. The time zone is not in the dump.
  std::optional<Micros> wallClock;

  /// Time at which the log was made.
  Micros start = 0;

  /// Times of the first and of the last event; both 0 for an empty log.
  [[nodiscard]] Micros Begin() const noexcept;
  [[nodiscard]] Micros End() const noexcept;

  [[nodiscard]] std::string_view Name(NameId name) const { return names.Text(name); }
  [[nodiscard]] std::string_view ClassName(std::uint32_t operation) const {
    return names.Text(operations[operation].className);
  }
  [[nodiscard]] std::string_view OperationName(std::uint32_t operation) const {
    return names.Text(operations[operation].name);
  }

  /// "Class.Operation".
  [[nodiscard]] std::string FullName(std::uint32_t operation) const;

  /// "Class.Operation:Error", as the error value itself says.
  [[nodiscard]] std::string ErrorCode(const Record& record) const;

  /// The thread's name, or "thread 4711" when it has none.
  [[nodiscard]] std::string ThreadName(std::uint32_t thread) const;

  /// The same, with the id after a name that several threads have.
  [[nodiscard]] std::string ThreadLabel(std::uint32_t thread) const;

  /// The records of each thread, by their index.
  [[nodiscard]] std::vector<std::vector<std::uint32_t>> RecordsByThread() const;
};

/// Adds to a log while it is being read, each operation and each thread once.
class LogBuilder {
 public:
  explicit LogBuilder(Log& log) : log_(log) {}
  LogBuilder(const LogBuilder&) = delete;
  LogBuilder& operator=(const LogBuilder&) = delete;

  std::uint32_t FindOperation(std::string_view className, std::string_view name, bool isUnnamed);

  /// @param name  a thread may be named only in a later dump of the same file; the name stays
  std::uint32_t FindThread(std::int32_t id, std::string_view name);

  /// After the last record: finds the threads that share a name.
  void FindNamesakes();

 private:
  Log& log_;
  std::unordered_map<std::uint64_t, std::uint32_t> operationNumbers_;
  std::unordered_map<std::int32_t, std::uint32_t> threadNumbers_;
};

/// What a dump prints for a thread or an object without a name.
inline constexpr std::string_view kUnknown = "unknown";

/// What it prints for a class, an operation or an error without one.
inline constexpr std::string_view kUnnamed = "(unknown)";

}  // namespace Velta::Logging
