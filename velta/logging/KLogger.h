// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/KGuardedLock.h"
#include "velta/logging/KLogRecord.h"
#include "velta/platform/Api.h"
#include "velta/platform/ThreadSafety.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>

namespace Velta::Logging {
struct ErrorRecords;
}

/// The event log: a ring of fixed-size records that any thread fills without a lock, and the tables
/// that give a record's numbers their names when the log is dumped as text.
///
/// A process has one, `Instance`, which lives from first use until the process ends. Code reaches
/// it through `MFlowPoint`, `MFlowLogger` and `MDiagnosticsRegistry`; use the class itself only to
/// inspect the log, or to keep a separate one.
///
/// The ring holds the last 131072 events. Writing one costs an atomic add, a reading of the
/// system's counter and five stores: no allocation, lock, system call or formatting. Names are
/// registered once, under 32-bit keys (objects under their address); the first name given for a key
/// stays. A name stands in a dump byte for byte: line breaks in it are line breaks there.
///
/// The codes of the events and what each carries: docs/formats/log.md.
///
/// Life cycle: enabled once constructed; disabled while a dump runs, and for good after a dump that
/// an exception ended. The tables only grow.
/// Threads: any thread may call any operation at any time. A record that is being written while a
/// dump reads it may show partly; a dump waits 10 ms for writers under way before it looks.
/// Errors: `Write` and all that registers never throw; a name for which memory is missing is
/// skipped.
class KLogger {
 public:
  /// The number of records kept, a power of two.
  static constexpr std::uint32_t kCapacity = 131072;

  /// Makes an empty, enabled log. If memory for the ring is missing, it ignores all writes.
  ///
  /// Errors: `std::bad_alloc` if memory for the table of event names is missing.
  VELTA_API KLogger();
  KLogger(const KLogger&) = delete;
  KLogger& operator=(const KLogger&) = delete;
  VELTA_API ~KLogger();

  /// The process's log, made on first use and never destroyed; safe in static initialisers.
  ///
  /// @return null while memory for it cannot be had; the next call tries again
  [[nodiscard]] VELTA_API static KLogger* Instance() noexcept;

  /// Appends one event of the calling thread; drops it while the log is disabled.
  ///
  /// @param core  the log; null is ignored
  VELTA_API static void Write(KLogger* core, std::int32_t code, std::int32_t value1,
                              std::int32_t value2, std::int32_t classKey, std::int32_t pointKey,
                              const void* object) noexcept;

  /// Names a class, an operation or an error, which share one table. A null core is ignored.
  VELTA_API static void RegisterName(KLogger* core, std::int32_t key,
                                     std::string_view name) noexcept;

  /// Names a state, under `classKey * 100 + state` in 32 bits. A null core is ignored.
  VELTA_API static void RegisterStateName(KLogger* core, std::int32_t classKey, std::int32_t state,
                                          std::string_view name) noexcept;

  /// Names a message, in the table of the states. A null core is ignored.
  VELTA_API static void RegisterMessageName(KLogger* core, std::int32_t key,
                                            std::string_view name) noexcept;

  /// Names an object by its full address. A null core is ignored.
  VELTA_API static void RegisterObjectName(KLogger* core, const void* object,
                                           std::string_view name) noexcept;

  /// Names a thread by the system's id. A null core is ignored.
  VELTA_API static void RegisterThreadName(KLogger* core, std::uint32_t threadId,
                                           std::string_view name) noexcept;

  /// Copies the names of threads, then of classes, operations and errors, then of states and
  /// messages, then of objects into `other`, whose own names stay. Names without memory are
  /// skipped.
  ///
  /// Blocks while another thread uses the table being copied in either log. Two logs must not be
  /// merged into each other at the same time: each would wait for the other.
  ///
  /// @param other  null is ignored
  VELTA_API void MergeNamesInto(KLogger* other) noexcept;

  /// The text of one record: two lines without a final line break.
  ///
  /// The first line names what the second gives as numbers: relative time, code, the two values,
  /// class key, point key, object and thread id. For example:
  ///
  ///     % Scope_push in_class MJob at Run for_object 0000021D5C0A1230 (job) in_thread 4711 (Pool)
  ///         0.004213, -7, 0, 38, 1073815552, 1073815600, 2325121471024, 4711
  ///
  /// @param index      the record's slot in the ring
  /// @param reference  the counter value that counts as time 0
  /// @return empty for a slot never written since the last dump; "*OUT OF BOUNDS*" from
  ///         `kCapacity` on
  ///
  /// Errors: `std::bad_alloc`.
  [[nodiscard]] VELTA_API std::string FormatRecord(std::uint32_t index,
                                                   std::int64_t reference) const;

  /// The time from `reference` to `t` in seconds with six decimals, cut, not rounded: "-0.000250".
  ///
  /// @param t          counter value, in ticks
  /// @param reference  counter value, in ticks
  /// @param frequency  ticks per second, greater than 0
  ///
  /// Errors: `std::bad_alloc`.
  [[nodiscard]] VELTA_API static std::string FormatRelativeTime(std::int64_t t,
                                                                std::int64_t reference,
                                                                std::int64_t frequency);

  /// Writes the log as text, oldest record first, flushes the stream and empties the log. A null
  /// core is ignored.
  ///
  /// The text begins with the time of the log's construction, relative to the first record and as
  /// wall-clock time in the local time zone; the records follow, timed from the first one. Times of
  /// records are thus turned into wall-clock time by subtracting the reference time.
  ///
  /// Blocks for 10 ms at the start and after every 16384 records. Events logged meanwhile are
  /// dropped. Two dumps at once are not coordinated.
  ///
  /// An exception ends the dump and is swallowed, whether the stream, its buffer or an allocation
  /// raised it, and also if only the flush did: the log then keeps its records and stays disabled,
  /// for inspection and for another dump, and the stream is left in a bad state. A stream that
  /// merely turns bad, without an exception, does not stop the dump: what it refuses is lost and
  /// the log is emptied.
  ///
  /// @param stream  used during the call only; turn its exceptions on (`exceptions(badbit)`) to
  ///                lose no record to a full disk
  VELTA_API static void Dump(KLogger* core, std::ostream& stream) noexcept;

  /// Dumps into the file `C:\Temp\DebugDump.log` (`/tmp/DebugDump.log` on Linux), replacing what is
  /// there. The folder must exist; other processes may have the file open. A write that fails, as
  /// on a full disk, ends the dump as an exception does.
  ///
  /// On Linux, where any user may put something into the folder, the file must be a regular one of
  /// the process's effective user, under this name only; a new one is readable by that user only.
  ///
  /// @return true if the file could be opened, even if the dump then failed; otherwise the log is
  ///         untouched
  ///
  /// Errors: `std::bad_alloc` if memory for the file's stream is missing.
  [[nodiscard]] VELTA_API bool DumpToFile();

 private:
  class Formatter;
  friend struct KLoggerProbe;
  friend struct Velta::Logging::ErrorRecords;

  /// The C runtime's time with milliseconds, unnamed in a public header.
  struct WallClock {
    std::int64_t time;  // seconds since 1970
    std::uint16_t millitm;
    std::int16_t timezone;
    std::int16_t dstflag;
  };

  using Names = std::map<std::int32_t, std::string>;
  using ObjectNames = std::map<std::uint64_t, std::string>;

  [[nodiscard]] KLogRecord ReadRecord(std::uint32_t slot) const noexcept;
  [[nodiscard]] std::uint32_t Disable() noexcept;
  void ClearAndEnable() noexcept;
  void DumpAndClear(std::ostream& stream);
  void DumpHeader(std::ostream& stream, std::int64_t reference) const;
  [[nodiscard]] static bool IsEmpty(const KLogRecord& record) noexcept;
  [[nodiscard]] static std::int32_t StateKey(std::int32_t classKey, std::int32_t state) noexcept;

  std::uint64_t* records = nullptr;  // see internal/KLogWords.h
  std::int64_t frequency = 0;
  WallClock startWallClock{};
  std::int64_t startCounter = 0;
  std::uint32_t capacity = 0;
  std::atomic<std::uint32_t> counter{0};  // bit 0: enabled; above: records written
  bool ready = false;
  Names eventNames;  // as constructed
  Names threadNames VELTA_GUARDED_BY(threadNamesLock_);
  Names names VELTA_GUARDED_BY(namesLock_);
  Names stateNames VELTA_GUARDED_BY(stateNamesLock_);
  ObjectNames objectNames VELTA_GUARDED_BY(objectNamesLock_);
  mutable KGuardedLock eventNamesLock_;
  mutable KGuardedLock threadNamesLock_;
  mutable KGuardedLock namesLock_;
  mutable KGuardedLock stateNamesLock_;
  mutable KGuardedLock objectNamesLock_;
  KGuardedLock spareLock_;
};
