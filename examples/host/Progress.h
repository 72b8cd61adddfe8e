// SPDX-License-Identifier: MIT
#pragma once

#include "RunMonitor.h"
#include "velta/commands/MDesyncEvent.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

namespace host {

/// The line that shows how far the counting has come, redrawn in place.
///
/// It receives this host's notifications. They arrive one at a time, on the scheduler's
/// thread, so nothing here needs a lock. Others read its counters once the scheduler is disabled.
class ProgressLine {
 public:
  /// Writes UTF-8 to a terminal.
  using Writer = std::function<void(std::string_view)>;

  /// @param writer  empty when output is no terminal; the line then counts but draws nothing
  explicit ProgressLine(Writer writer) : writer_(std::move(writer)) {}
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Before the first notification.
  void ExpectFiles(std::uint64_t count) noexcept { expectedFiles_ = count; }

  void Advance(std::uint64_t moreFiles, std::uint64_t moreBytes);

  /// Removes the line, so that something else can be written.
  void Erase();

  void CountNotification() noexcept { ++notifications_; }
  [[nodiscard]] std::uint64_t GetNotifications() const noexcept { return notifications_; }
  [[nodiscard]] std::uint64_t GetFiles() const noexcept { return files_; }
  [[nodiscard]] std::uint64_t GetBytes() const noexcept { return bytes_; }

 private:
  void Draw();

  Writer writer_;
  std::uint64_t expectedFiles_ = 0;
  std::uint64_t files_ = 0;
  std::uint64_t bytes_ = 0;
  std::uint64_t notifications_ = 0;
  std::size_t drawnLength_ = 0;
  std::chrono::steady_clock::time_point nextDraw_;
};

/// The notification that a file is done, or a part of a large one.
class ProgressMade final : public MDesyncEvent {
 public:
  ProgressMade(ProgressLine& line, std::uint64_t files, std::uint64_t bytes) noexcept
      : line_(line), files_(files), bytes_(bytes) {}

  void Fire() override;

 private:
  ProgressLine& line_;
  std::uint64_t files_;
  std::uint64_t bytes_;
};

/// The notification that is scheduled after all others, and says that they have been delivered.
/// Those that are still queued when their scheduler is disabled never are.
class LastNotification final : public MDesyncEvent {
 public:
  LastNotification(ProgressLine& line, RunMonitor& monitor) noexcept
      : line_(line), monitor_(monitor) {}

  void Fire() override;

 private:
  ProgressLine& line_;
  RunMonitor& monitor_;
};

}  // namespace host
