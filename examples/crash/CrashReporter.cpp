// SPDX-License-Identifier: MIT
#include "CrashReporter.h"

#include "examples/shared/RegisteredName.h"
#include "velta/logging/MFlowLogger.h"

#include <chrono>
#include <cstdio>
#include <utility>

namespace {

constexpr std::chrono::seconds kPatience{5};

const wchar_t ClassName[] = L"CrashReporter";
const RegisteredName registeredName(ClassName);

}  // namespace

CrashReporter::CrashReporter(std::filesystem::path logFile)
    : file(std::move(logFile)), crashPoint(ClassName, L"OnUnhandledException") {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  thread = std::thread([this] { Report(); });
}

void CrashReporter::OnUnhandledException(std::uintptr_t argument) {
  // Safe in any state of the process: the point and the log exist, so that writing an event takes
  // no lock and no memory.
  crashPoint.At(this).LogTimingPoint(static_cast<std::uint32_t>(argument), 0);

  if (std::this_thread::get_id() == thread.get_id()) {
    return;  // the report itself fails
  }
  if (std::uintptr_t none = 0; code.compare_exchange_strong(none, argument)) {
    wanted.release();
  }
  // Whoever returns ends the process, so all wait, and each lets the next one pass.
  if (written.try_acquire_for(kPatience)) {
    written.release();
  }
}

void CrashReporter::Report() {
  wanted.acquire();
  std::fprintf(stderr, "crash: ended by 0x%llX\n", static_cast<unsigned long long>(code));
  std::fflush(stderr);  // some runtimes keep it back, and the process does not end in order
  stream.open(file);
  MFlowLogger* const logger = MFlowLogger::Instance();
  if (stream.is_open() && logger != nullptr) {
    logger->Dump(stream);
    stream.flush();
    std::fputs("crash: the event log has been written\n", stderr);
    std::fflush(stderr);
  }
  written.release();
}
