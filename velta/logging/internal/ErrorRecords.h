// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/internal/ErrorRing.h"

#include <cstdint>
#include <optional>

namespace Velta::Logging {

/// Finds the records that flow points have written of errors, in the process's log.
///
/// The log returns nothing of what it writes, so that a write costs no more than it must. What the
/// calling thread has written itself it finds again without a lock.
struct ErrorRecords {
  /// A search that goes further back finds nothing: other threads log too.
  static constexpr std::uint32_t kFarthest = 1024;

  /// The number that the log's next record gets; 0 without a log.
  [[nodiscard]] static std::uint32_t Next() noexcept;

  /// What the calling thread's last error record of that operation says.
  ///
  /// @param first  number of the first record to search
  [[nodiscard]] static std::optional<ErrorFacts> FindSince(std::uint32_t first,
                                                           const wchar_t* className,
                                                           const wchar_t* operationName) noexcept;

  /// The same among the last `kFarthest` records.
  [[nodiscard]] static std::optional<ErrorFacts> FindLast(const wchar_t* className,
                                                          const wchar_t* operationName) noexcept;

  /// What is known of an error that the log has no record of: it is thrown now, by this thread.
  [[nodiscard]] static ErrorFacts WithoutRecord(const void* object, std::int32_t line) noexcept;

  /// Has the ring keep how the log's counter values are to be read.
  static void SetClockOf(ErrorRing& ring) noexcept;
};

}  // namespace Velta::Logging
