// SPDX-License-Identifier: MIT
#include "RunMonitor.h"

#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowLogger.h"

#include <cstdio>
#include <mutex>

namespace host {

void RunMonitor::Send(Signal signal) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++Counter(signal);
  changed_.notify_all();
}

bool RunMonitor::WaitFor(Signal signal, std::uint32_t times) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return failure_.has_value() || Counter(signal) >= times; });
  return !failure_.has_value();
}

std::optional<MException> RunMonitor::GetFailure() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return failure_;
}

void RunMonitor::OnSpontaneousError(const MException& exception) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!failure_.has_value()) {
    failure_.emplace(exception);
  }
  changed_.notify_all();
}

void RunMonitor::OnUnhandledException(std::uintptr_t /*argument*/) {
  std::fputs("host: an exception that nobody handles ends the program\n", stderr);
  if (MFlowLogger* const logger = MFlowLogger::Instance()) {
    static_cast<void>(logger->DumpToFile());
  }
  static_cast<void>(MErrorHistory::DumpToFile());
}

}  // namespace host
