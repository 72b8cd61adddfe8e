// SPDX-License-Identifier: MIT
#pragma once

#include "ContentCounter.h"
#include "ProcessorContext.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/errors/MException.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace host {

class ProgressLine;

/// One file and what became of it.
struct FileResult {
  std::filesystem::path path;
  Totals totals;
  std::uint32_t checksum = 0;
  std::optional<MException> failure;  ///< the numbers mean nothing when there is one
};

/// The command that counts one file, into the totals and the checksum of its result.
///
/// Schedules notifications for the progress line while it reads a large file.
/// Errors: CountFile.Execute:FileNotCounted with "file", caused by an error of `InputFile`.
class CountFile final : public MCommandSynchronous {
 public:
  static constexpr std::uint64_t kBytesPerNotification = std::uint64_t{4} * 1024 * 1024;

  CountFile(MExceptionHolder outcome, ProcessorContext& context, MDesyncEventScheduler& scheduler,
            ProgressLine& progress, FileResult& result);

 protected:
  void Execute() override;

 private:
  void Count();

  ProcessorContext& context_;
  MDesyncEventScheduler& scheduler_;
  ProgressLine& progress_;
  FileResult& result_;
};

}  // namespace host
