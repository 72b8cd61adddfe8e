// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

#include <cstdint>
#include <filesystem>
#include <iosfwd>

/// The last errors that were raised with parameters, as text: which file, which code of the system.
///
/// The log says that an error was raised, and where; what stood in its parameters is kept here, for
/// the last 256 of them. Flow points write it, with the place, time and thread that the log's own
/// record of the error has, so that `velta-log` shows both as one. An error without parameters is
/// in the log only.
///
/// Texts are kept in UTF-8, up to 968 bytes for all of an error; what is longer is cut and says so.
/// An error is kept when an operation of `MFlowPoint` that makes or raises it is given parameters,
/// and when `MFlowPoint::Throw` throws one that has got some since. Parameters that are added to
/// an error which goes into an `MException` by hand are not seen here: give them when it is made.
/// One that is thrown again without a new record stands there as one without a record.
///
/// The text, with all that is escaped in it: docs/formats/errors.md. It begins and ends with lines
/// of its own, so that one that was cut off shows.
///
/// Life cycle: there from before the first static initialiser until the process ends; one for all
/// modules that share the library. Writing it as text does not empty it: it always shows the last.
/// Threads: any thread may call any operation at any time. An error that is being written
/// meanwhile, or overwritten, is left out as a whole.
/// Errors: no operation throws.
class MErrorHistory {
 public:
  /// The number of errors kept.
  static constexpr std::uint32_t kCapacity = 256;

  MErrorHistory() = delete;

  /// Writes the text to a stream, oldest error first, and flushes it. Takes no lock and no memory
  /// but what the stream itself does, so that a crash reporter may call it.
  ///
  /// @param stream  used during the call only
  /// @return false when the stream failed or threw; it is then left in a bad state
  [[nodiscard]] VELTA_API static bool Dump(std::ostream& stream) noexcept;

  /// Writes the text into a file, replacing what is there. Beside a dump of the log its name is
  /// that of the dump and ".errors": `velta-log` finds it there.
  ///
  /// @return false when the file could not be opened or not be written completely
  [[nodiscard]] VELTA_API static bool DumpToFile(const std::filesystem::path& file) noexcept;

  /// Writes the text into the file `C:\Temp\DebugDump.log.errors` (`/tmp/DebugDump.log.errors` on
  /// Linux), beside that of `MFlowLogger::DumpToFile`, with the same refusals.
  ///
  /// @return false when the file could not be opened or not be written completely
  [[nodiscard]] VELTA_API static bool DumpToFile() noexcept;
};
