// SPDX-License-Identifier: MIT
#include "CrashReporter.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowLogger.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ios>
#include <thread>
#include <utility>

namespace {

constexpr std::chrono::seconds kPatience{5};

const wchar_t ClassName[] = L"CrashReporter";
const Velta::Logging::ClassNameRegistration registration(ClassName);

std::filesystem::path ErrorsFileOf(std::filesystem::path logFile) {
  logFile += ".errors";
  return logFile;
}

}  // namespace

CrashReporter::CrashReporter(std::filesystem::path logFile)
    : logFile_(std::move(logFile)),
      errorsFile_(ErrorsFileOf(logFile_)),
      crashPoint_(ClassName, L"OnUnhandledException") {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  thread_ = std::thread([this] { Report(); });
}

void CrashReporter::OnUnhandledException(std::uintptr_t argument) {
  // Safe in any state of the process: the point and the log exist, so that writing an event takes
  // no lock and no memory.
  crashPoint_.At(this).LogTimingPoint(static_cast<std::uint32_t>(argument), 0);

  if (std::this_thread::get_id() == thread_.get_id()) {
    return;  // the report itself fails
  }
  if (std::uintptr_t none = 0; code_.compare_exchange_strong(none, argument)) {
    wanted_.release();
  }
  // A thread that returns ends the process, so each waits, and lets the next one pass.
  if (written_.try_acquire_for(kPatience)) {
    written_.release();
  }
}

void CrashReporter::Report() {
  wanted_.acquire();
  std::fprintf(stderr, "crash: ended by 0x%llX\n", static_cast<unsigned long long>(code_));
  std::fflush(stderr);  // some runtimes keep it back, and the process does not end in order
  stream_.open(logFile_);
  MFlowLogger* const logger = MFlowLogger::Instance();
  if (stream_.is_open() && logger != nullptr) {
    logger->Dump(stream_);
    stream_.flush();
    std::fputs("crash: the event log has been written\n", stderr);
    std::fflush(stderr);
  }
  errorsStream_.open(errorsFile_, std::ios_base::out | std::ios_base::binary);
  if (errorsStream_.is_open() && MErrorHistory::Dump(errorsStream_)) {
    std::fputs("crash: the last errors have been written\n", stderr);
    std::fflush(stderr);
  }
  written_.release();
}
