// SPDX-License-Identifier: MIT
#pragma once

#include "Log.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veltalog {

/// What could not be read of a dump.
struct Damage {
  struct Place {
    std::uint64_t line;  ///< counted from 1
    std::string_view problem;
  };
  std::uint64_t count = 0;
  std::vector<Place> places;  ///< the first few
};

/// Reads a dump's text piece by piece.
///
/// A dump is two header lines and two lines a record:
///
/// ```
/// %% Reference time: -0.000398 is approximately 923ms past Sat Nov 21 09:44:16 2026
/// %%
/// % State_change to Running in_class MEngineThread at ChangeState for_object 00007FFC684F24E8
/// (unknown) in_thread 4711 (Main thread)
///     0.004213, -25, 2, 0, 759932960, 759932984, 140722058503400, 4711
/// ```
///
/// (a record's text is one line, unless a name in it holds line breaks: the numbers end it). Lines
/// may end with a carriage return. Another header begins another dump of the same process, whose
/// times are moved to those of the first. Whatever else stands in the text is damage: it is
/// counted, and reading goes on with the next record. A dump that ends between two records cannot
/// be told from a whole one.
class DumpReader {
 public:
  DumpReader(Log& target, Damage& problems) : log(target), builder(target), damage(problems) {}
  DumpReader(const DumpReader&) = delete;
  DumpReader& operator=(const DumpReader&) = delete;

  void Take(std::string_view bytes);

  /// After the last piece.
  void Finish();

 private:
  void TakeLine(std::string_view line);
  void TakeHeader(std::string_view line);
  void BeginRecord(std::string_view line);
  void ContinueRecord(std::string_view line);
  void Report(std::uint64_t line, std::string_view problem);

  Log& log;
  LogBuilder builder;
  Damage& damage;
  std::uint64_t lineNumber = 0;
  std::string partialLine;
  std::string recordText;  // of the record under way, without its percent sign
  std::uint64_t recordLine = 0;
  bool inRecord = false;
  bool hasHeader = false;
  bool skipsLine = false;
  Micros shift = 0;
};

}  // namespace veltalog
