// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/MFlowEventKind.h"
#include "velta/platform/Api.h"

#include <cstdint>
#include <iosfwd>

class MFlowLoggerImplementation;

/// A handle to a log: the way by which instrumented code, and a host that wants a dump, reach it.
///
/// `Instance` gives the process-wide handle. Framework code does not call `LogEvent` itself: it
/// logs through an `MFlowPoint`, which supplies names, object and source line.
///
/// ```cpp
/// if (MFlowLogger* logger = MFlowLogger::Instance()) logger->Dump(stream);
/// ```
///
/// Threads: any thread may call any operation at any time, but two logs must not be attached to
/// each other at once.
/// Ownership: the handle does not own what it points at.
/// Errors: no operation throws.
class MFlowLogger {
 public:
  /// A handle to `implementation`, which must outlive it. With null every operation does nothing.
  explicit MFlowLogger(MFlowLoggerImplementation* implementation) noexcept
      : implementation_(implementation) {}
  MFlowLogger(const MFlowLogger&) = delete;
  MFlowLogger& operator=(const MFlowLogger&) = delete;

  /// The process-wide handle, made on first use and never destroyed; safe in static initialisers.
  ///
  /// @return null while memory for it cannot be had; the next call tries again
  [[nodiscard]] VELTA_API static MFlowLogger* Instance() noexcept;

  /// Records one event of the calling thread; never blocks, allocates or formats.
  ///
  /// @param kind      the number of an `MFlowEventKind`; any other number is a caller's mistake and
  ///                  is not detected
  /// @param value1    error name key, state, message key or first timing value; else 0
  /// @param value2    source line, or second timing value
  /// @param classKey  key of the class name: the low 32 bits of the address of its text
  /// @param pointKey  key of the operation's name, likewise
  /// @param object    the object concerned; only its address is kept, null is allowed
  VELTA_API void LogEvent(std::uint32_t kind, std::uint32_t value1, std::uint32_t value2,
                          std::uint32_t classKey, std::uint32_t pointKey,
                          const void* object) noexcept;

  /// Writes the log as 8-bit text, flushes the stream and empties the log. See `KLogger::Dump` for
  /// the text.
  ///
  /// Blocks for at least 10 ms, 80 ms for a full log. Events that other threads log meanwhile are
  /// dropped. If anything throws while dumping, the stream's flush included, the log keeps its
  /// records and stays disabled; a stream with its exceptions turned off does not throw.
  VELTA_API void Dump(std::ostream& stream) noexcept;

  /// Dumps into the fixed file `C:\Temp\DebugDump.log` (`/tmp/DebugDump.log` on Linux), whose
  /// folder must exist. See `KLogger::DumpToFile` for what is refused there.
  ///
  /// @return true if the file could be opened, even if the dump then failed
  VELTA_API bool DumpToFile() noexcept;

  /// Mirrors this log's further events and names into another module's log.
  ///
  /// One log can be attached at a time; a second replaces the first. Null, or a handle to a log of
  /// another type, detaches what is attached. Not synchronised with events logged meanwhile: such
  /// an event reaches one log or both. The attached log must live until it is detached or replaced.
  ///
  /// Blocks while another thread uses the name table being copied in either log. Attach two logs to
  /// each other one after the other: at the same time, each would wait for the other.
  VELTA_API void Attach(MFlowLogger* other) noexcept;

 private:
  MFlowLoggerImplementation* implementation_;
};
