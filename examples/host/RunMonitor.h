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

/// Lets the threads of a run wait for each other, and receives the errors that end a thread of the
/// framework.
///
/// A thread that has ended sends no signal. So a failed thread ends every wait, and the host can
/// stop what still runs.
///
/// Threads: every operation from any thread.
class RunMonitor final : public IThreadErrorHandler {
 public:
  /// What threads wait for. How often each was sent is counted.
  enum class Signal : std::uint8_t {
    kFilesCounted,      ///< by each caller, when no file is left
    kProcessorBlocked,  ///< the processor runs no command until it is stopped
    kSubmitTotals,      ///< the callers may submit their totals
    kTotalsSubmitted,   ///< by each caller, right before it submits its totals
    kLastNotification,  ///< the last notification has been delivered
    kCount
  };

  RunMonitor() = default;
  RunMonitor(const RunMonitor&) = delete;
  RunMonitor& operator=(const RunMonitor&) = delete;

  void Send(Signal signal);

  /// Waits until `signal` has been sent `times` times, or a thread has failed.
  ///
  /// @return false in the second case
  bool WaitFor(Signal signal, std::uint32_t times = 1);

  /// The first error that ended a thread, if any.
  [[nodiscard]] std::optional<MException> GetFailure();

  void OnSpontaneousError(const MException& exception) override;

  /// Writes a line to standard error, and the event log to the framework's debug dump. `main` has
  /// `std::terminate` call it first.
  void OnUnhandledException(std::uintptr_t argument) override;

 private:
  std::uint32_t& Counter(Signal signal) { return counters_[static_cast<std::size_t>(signal)]; }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::array<std::uint32_t, static_cast<std::size_t>(Signal::kCount)> counters_{};
  std::optional<MException> failure_;
};

}  // namespace host
