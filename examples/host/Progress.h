// SPDX-License-Identifier: MIT
#pragma once

#include "RunMonitor.h"
#include "velta/commands/MDesyncEvent.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace host {

/// The line that shows how far the counting has come, drawn over and over in place.
///
/// It is the receiver of this host's notifications: they arrive one at a time, on the scheduler's
/// thread, so nothing here needs a lock. Others read its counters once the scheduler is disabled.
class ProgressLine {
 public:
  /// Writes UTF-8 to a terminal.
  using Writer = std::function<void(std::string_view)>;

  /// @param terminalWriter  empty when nobody watches; the line then counts but draws nothing
  explicit ProgressLine(Writer terminalWriter) : write(std::move(terminalWriter)) {}
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Before the first notification.
  void ExpectFiles(std::uint64_t count) noexcept { expectedFiles = count; }

  void Advance(std::uint64_t moreFiles, std::uint64_t moreBytes);

  /// Removes the line, so that something else can be written.
  void Erase();

  void CountNotification() noexcept { ++notifications; }
  [[nodiscard]] std::uint64_t GetNotifications() const noexcept { return notifications; }
  [[nodiscard]] std::uint64_t GetFiles() const noexcept { return files; }
  [[nodiscard]] std::uint64_t GetBytes() const noexcept { return bytes; }

 private:
  void Draw();

  Writer write;
  std::uint64_t expectedFiles = 0;
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
  std::uint64_t notifications = 0;
  std::size_t drawnLength = 0;
  std::chrono::steady_clock::time_point nextDraw;
};

/// The notification that files are done, or that part of a large one is.
class ProgressMade final : public MDesyncEvent {
 public:
  ProgressMade(ProgressLine& receiver, std::uint64_t moreFiles, std::uint64_t moreBytes) noexcept
      : line(receiver), files(moreFiles), bytes(moreBytes) {}

  void Fire() override;

 private:
  ProgressLine& line;
  std::uint64_t files;
  std::uint64_t bytes;
};

/// The notification behind all others. Notifications that are still queued when their scheduler is
/// disabled stay there: wait for the last one first.
class LastNotification final : public MDesyncEvent {
 public:
  LastNotification(ProgressLine& receiver, RunMonitor& runMonitor) noexcept
      : line(receiver), monitor(runMonitor) {}

  void Fire() override;

 private:
  ProgressLine& line;
  RunMonitor& monitor;
};

}  // namespace host
