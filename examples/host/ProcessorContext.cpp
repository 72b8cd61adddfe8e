// SPDX-License-Identifier: MIT
#include "ProcessorContext.h"

#include "FrameworkErrors.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/logging/ClassNameRegistration.h"

#include <chrono>
#include <cstddef>
#include <thread>

namespace host {
namespace {

const wchar_t ClassName[] = L"ProcessorContext";
const Velta::Logging::ClassNameRegistration registration(ClassName);

constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;

}  // namespace

void ProcessorContext::OnThreadStart() {
  static MFlowPoint point(ClassName, L"OnThreadStart");
  const MFlowScope scope = point.At(this).OpenScope();
  TranslateExceptions(point, [this] { block.resize(kBlockBytes); });
  ++startHookRuns;
}

void ProcessorContext::OnThreadExit() {
  static MFlowPoint point(ClassName, L"OnThreadExit");
  const MFlowScope scope = point.At(this).OpenScope();
  std::vector<unsigned char>().swap(block);
  ++exitHookRuns;
}

void ProcessorContext::OnIdle() {
  static MFlowPoint point(ClassName, L"OnIdle");
  point.At(this).LogTimingPoint(++idleHookRuns, 0);

  const MCommandProcessor* const processor = blocked_.load();
  if (processor == nullptr) {
    return;
  }
  monitor_.Send(RunMonitor::Signal::kProcessorBlocked);
  // Polled, since a hook has nothing to wait for that a stop request would signal.
  while (!processor->IsStopRequested()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace host
