// SPDX-License-Identifier: MIT
#include "CrashReporter.h"

#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <utility>

namespace {

constexpr std::chrono::seconds kPatience{5};

const wchar_t ClassName[] = L"CrashReporter";

}  // namespace

CrashReporter::CrashReporter(std::filesystem::path logFile)
    : file(std::move(logFile)), thread([this] { Report(); }) {
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterClassName(ClassName, ClassName);
  }
}

CrashReporter::~CrashReporter() {
  wanted.release();
  thread.join();
}

void CrashReporter::OnUnhandledException(std::uintptr_t argument) {
  // Writing an event takes no lock and no memory: it can be done in any state of the process.
  static MFlowPoint point(ClassName, L"OnUnhandledException");
  point.At(this).LogTimingPoint(static_cast<std::uint32_t>(argument), 0);

  if (std::uintptr_t none = 0; !code.compare_exchange_strong(none, argument)) return;
  wanted.release();
  static_cast<void>(written.try_acquire_for(kPatience));
}

void CrashReporter::Report() {
  wanted.acquire();
  if (code == 0) return;
  std::fprintf(stderr, "crash: ended by 0x%llX\n", static_cast<unsigned long long>(code));
  std::ofstream stream(file);
  MFlowLogger* const logger = MFlowLogger::Instance();
  if (stream.is_open() && logger != nullptr) {
    logger->Dump(stream);
    stream.flush();
    std::fputs("crash: the event log has been written\n", stderr);
  }
  written.release();
}
