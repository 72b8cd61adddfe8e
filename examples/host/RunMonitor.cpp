// SPDX-License-Identifier: MIT
#include "RunMonitor.h"

#include "velta/logging/MFlowLogger.h"

#include <cstdio>

namespace host {

void RunMonitor::Reach(Milestone milestone) {
  const std::lock_guard<std::mutex> lock(mutex);
  ++Counter(milestone);
  changed.notify_all();
}

std::uint32_t RunMonitor::Count(Milestone milestone) {
  const std::lock_guard<std::mutex> lock(mutex);
  return Counter(milestone);
}

bool RunMonitor::WaitFor(Milestone milestone, std::uint32_t times) {
  std::unique_lock<std::mutex> lock(mutex);
  changed.wait(lock, [&] { return failure.has_value() || Counter(milestone) >= times; });
  return !failure.has_value();
}

std::optional<MException> RunMonitor::GetFailure() {
  const std::lock_guard<std::mutex> lock(mutex);
  return failure;
}

void RunMonitor::OnSpontaneousError(const MException& exception) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (!failure.has_value()) {
    failure.emplace(exception);
  }
  changed.notify_all();
}

void RunMonitor::OnUnhandledException(std::uintptr_t /*argument*/) {
  std::fputs("host: an exception that nobody handles ends the program\n", stderr);
  if (MFlowLogger* const logger = MFlowLogger::Instance()) {
    static_cast<void>(logger->DumpToFile());
  }
}

}  // namespace host
