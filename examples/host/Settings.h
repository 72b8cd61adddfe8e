// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MException.h"
#include "velta/text/MString.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class IInFilerTagged;
class IOutFilerTagged;

namespace host {

/// What the command line may leave out.
struct Settings {
  static constexpr std::uint32_t kMostThreads = 64;

  std::uint32_t threads = 4;  ///< 1 to `kMostThreads`
  bool quiet = false;
};

/// What a run came to.
struct RunResults {
  MString endedAt;  ///< UTC, as 2026-11-21T09:44:16Z
  std::uint64_t counted = 0;
  std::uint64_t failed = 0;
  std::uint64_t bytes = 0;
  std::uint64_t lines = 0;
  std::uint64_t words = 0;
  double seconds = 0;      ///< in whole milliseconds, for which any store has digits enough
  MException lastFailure;  ///< empty if all went well
};

/// What the host remembers from one run to the next.
struct HostState {
  Settings settings;
  std::optional<RunResults> lastRun;
};

/// Writes what is to be remembered as groups and values, the same to any store.
///
/// | value | kind | group |
/// |---|---|---|
/// | Format | unsigned int, 1 | |
/// | Threads, Quiet | unsigned int, bool | Settings |
/// | EndedAt | string | LastRun |
/// | Counted, Failed, Bytes, Lines, Words | string: 64 bits in decimal | LastRun |
/// | Seconds | double | LastRun |
/// | LastFailure | chain of errors | LastRun |
///
/// @return whether all was stored
[[nodiscard]] bool WriteState(IOutFilerTagged& filer, const HostState& state);

/// Reads what `WriteState` wrote.
///
/// @param complaints  receives a line for each setting that was missing, of another type or out of
///                    range, and has its default; and one for results, which are left out as a
///                    whole
/// @return nothing when nothing of the kind is stored
///
/// Errors: Settings.ReadState:UnknownFormat with "format".
[[nodiscard]] std::optional<HostState> ReadState(IInFilerTagged& filer,
                                                 std::vector<std::string>& complaints);

}  // namespace host
