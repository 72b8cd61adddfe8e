// SPDX-License-Identifier: MIT
#pragma once

#include "Damage.h"
#include "Lines.h"
#include "Log.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Velta::Logging {

/// Reads a dump's text piece by piece.
///
/// A dump is two header lines and two lines per record:
///
/// ```
/// %% Reference time: -0.000398 is approximately 923ms past Sat Nov 21 09:44:16 2026
/// %%
/// % State_change to Running in_class MEngineThread at ChangeState for_object 00007FFC684F24E8
/// (unknown) in_thread 4711 (Main thread)
///     0.004213, -25, 2, 0, 759932960, 759932984, 140722058503400, 4711
/// ```
///
/// A record's text is one line, or more if a name in it holds line breaks; the line of numbers ends
/// the record. Lines may end with a carriage return. A second header begins a later dump of the
/// same process; its times are converted to those of the first. Anything else is damage: it is
/// counted, and reading continues with the next record. A dump that was cut between two records
/// reads as complete.
class DumpReader {
 public:
  DumpReader(Log& log, Damage& damage) : log_(log), builder_(log), damage_(damage) {}
  DumpReader(const DumpReader&) = delete;
  DumpReader& operator=(const DumpReader&) = delete;

  void Take(std::string_view bytes);

  /// After the last piece.
  void Finish();

 private:
  // No name is that long.
  static constexpr std::size_t kLongestLine = std::size_t{1} << 20U;

  void TakeLine(std::string_view line);
  void TakeHeader(std::string_view line);
  void BeginRecord(std::string_view line);
  void ContinueRecord(std::string_view line);

  Log& log_;
  LogBuilder builder_;
  Damage& damage_;
  std::uint64_t lineNumber_ = 0;
  Lines lines_{kLongestLine};
  std::string recordText_;  // of the current record, without its percent sign
  std::uint64_t recordLine_ = 0;
  bool inRecord_ = false;
  bool hasHeader_ = false;
  Micros shift_ = 0;
};

}  // namespace Velta::Logging
