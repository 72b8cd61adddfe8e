// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/IThreadErrorHandler.h"
#include "velta/errors/MException.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

namespace host {

/// How far a run has come: threads reach milestones, and others wait for them.
///
/// It also hears of errors that end a thread of the framework. Nobody would ever be told by a
/// thread that is gone, so every wait then ends, and the host can stop what still runs.
///
/// Threads: every operation from any thread.
class RunMonitor final : public IThreadErrorHandler {
 public:
  enum class Milestone : std::uint8_t {
    FilesCounted,  ///< by one of the callers, which found no file left
    Idle,          ///< the processor found nothing to do
    Holding,       ///< the processor runs nothing until it is stopped
    Closing,       ///< the callers may hand over
    HandingOver,   ///< by one of the callers
    AllNotified,   ///< the last notification has been delivered
    kCount
  };

  RunMonitor() = default;
  RunMonitor(const RunMonitor&) = delete;
  RunMonitor& operator=(const RunMonitor&) = delete;

  void Reach(Milestone milestone);

  /// How often `milestone` has been reached.
  [[nodiscard]] std::uint32_t Count(Milestone milestone);

  /// Waits until `milestone` has been reached `times` times, or a thread has failed.
  ///
  /// @return false in the second case
  bool WaitFor(Milestone milestone, std::uint32_t times);

  /// The first error that ended a thread, if any.
  [[nodiscard]] std::optional<MException> GetFailure();

  void OnSpontaneousError(const MException& exception) override;

  /// Writes a line about it, and the event log to the framework's debug dump, while that is still
  /// possible. Installed by `main` as what `std::terminate` does first.
  void OnUnhandledException(std::uintptr_t argument) override;

 private:
  std::uint32_t& Counter(Milestone milestone) {
    return counts[static_cast<std::size_t>(milestone)];
  }

  std::mutex mutex;
  std::condition_variable changed;
  std::array<std::uint32_t, static_cast<std::size_t>(Milestone::kCount)> counts{};
  std::optional<MException> failure;
};

}  // namespace host
