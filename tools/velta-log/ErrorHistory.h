// SPDX-License-Identifier: MIT
#pragma once

#include "Damage.h"
#include "Lines.h"
#include "Log.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velta::Logging {

class JsonWriter;

/// A text of an error.
struct ErrorText {
  std::string plain;    ///< UTF-8, with U+FFFD for half a surrogate pair
  std::string escaped;  ///< as in the file: nothing in it steers a terminal
  bool isCut = false;   ///< the program had no room for all of it

  /// For people.
  [[nodiscard]] std::string Shown() const { return isCut ? escaped + "..." : escaped; }
};

struct ErrorParameter {
  ErrorText name;
  ErrorText value;
};

/// An error with its parameters.
struct RaisedError {
  std::uint64_t number = 0;

  /// The log's record; empty for an error that was thrown without one.
  std::optional<std::uint32_t> record;
  std::int32_t event = 0;
  std::int32_t errorKey = 0;

  Micros time = 0;  ///< after the log was made
  std::int32_t threadId = 0;
  std::int32_t line = 0;
  std::uint64_t object = 0;
  ErrorText className;
  ErrorText operation;
  ErrorText code;
  std::vector<ErrorParameter> parameters;
  std::uint32_t leftOut = 0;  ///< parameters for which there was no room
};

/// What an errors file holds: docs/formats/errors.md.
struct ErrorHistory {
  std::int64_t startMs = 0;  ///< when the log was made, in milliseconds since 1970
  std::vector<RaisedError> errors;
};

/// Reads an errors file piece by piece. An error with a line that is not as it must be is left out
/// and reported; reading goes on with the next.
class ErrorHistoryReader {
 public:
  ErrorHistoryReader(ErrorHistory& history, Damage& damage) : history_(history), damage_(damage) {}
  ErrorHistoryReader(const ErrorHistoryReader&) = delete;
  ErrorHistoryReader& operator=(const ErrorHistoryReader&) = delete;

  void Take(std::string_view bytes);

  /// After the last piece.
  void Finish();

 private:
  /// What the next line must be.
  enum class Step : std::uint8_t {
    kVersion,
    kMade,
    kFrequency,
    kStart,
    kErrorOrEnd,
    kRecordOrTime,
    kTime,
    kThread,
    kLine,
    kObject,
    kClass,
    kOperation,
    kCode,
    kParameterOrNext,
    kValue,
    kNext,  // another error or the end, after parameters that were left out
    kSkip,  // to the next error
    kAfterEnd,
    kNoHistory,  // the file is another one
  };

  // An escaped character takes six bytes of a slot of 1 KB at most.
  static constexpr std::size_t kLongestLine = 16384;

  void TakeLine(std::string_view line);
  [[nodiscard]] bool TakeField(std::string_view key, std::string_view value);
  [[nodiscard]] bool TakeRecord(std::string_view value);
  [[nodiscard]] bool TakeTime(std::string_view value);
  [[nodiscard]] bool TakeEnd(std::string_view value);
  [[nodiscard]] bool TakeNext(std::string_view key, std::string_view value);
  void KeepError();

  ErrorHistory& history_;
  Damage& damage_;
  Lines lines_{kLongestLine};
  std::uint64_t lineNumber_ = 0;
  Step step_ = Step::kVersion;
  std::int64_t frequency_ = 0;
  std::int64_t start_ = 0;
  bool hasError_ = false;  // `error_` is whole, but for parameters that may follow
  RaisedError error_;
};

/// Finds the errors of a log's records in a history.
class RaisedErrors {
 public:
  RaisedErrors() = default;
  RaisedErrors(const Log& log, ErrorHistory history);

  /// Null for a record of which the history has nothing.
  [[nodiscard]] const RaisedError* Of(std::uint32_t record) const;

  /// Those that no record of the log belongs to, the oldest first.
  [[nodiscard]] const std::vector<RaisedError>& WithoutRecord() const noexcept {
    return withoutRecord_;
  }

 private:
  std::vector<RaisedError> found_;
  std::unordered_map<std::uint32_t, std::size_t> ofRecord_;
  std::vector<RaisedError> withoutRecord_;
};

/// Adds "parameters", an object, and "parametersCut" where something is missing in it.
void WriteParameters(const RaisedError& error, JsonWriter& json);

/// Whether the history and the log may be of one process: both say when the log was made, the one
/// in universal and the other in local time.
[[nodiscard]] bool AreOfOneRun(const Log& log, const ErrorHistory& history) noexcept;

}  // namespace Velta::Logging
