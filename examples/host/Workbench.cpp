// SPDX-License-Identifier: MIT
#include "Workbench.h"

#include "FrameworkErrors.h"
#include "examples/shared/RegisteredName.h"
#include "velta/commands/MCommandProcessor.h"

#include <chrono>
#include <cstddef>
#include <thread>

namespace host {
namespace {

const wchar_t ClassName[] = L"Workbench";
const RegisteredName registeredName(ClassName);

constexpr std::size_t kBlockBytes = std::size_t{256} * 1024;

}  // namespace

void Workbench::OnThreadStart() {
  static MFlowPoint point(ClassName, L"OnThreadStart");
  const MFlowScope scope = point.At(this).OpenScope();
  ThrowingFrameworkErrors(point, [this] { block.resize(kBlockBytes); });
  ++startHookRuns;
}

void Workbench::OnThreadExit() {
  static MFlowPoint point(ClassName, L"OnThreadExit");
  const MFlowScope scope = point.At(this).OpenScope();
  std::vector<unsigned char>().swap(block);
  ++exitHookRuns;
}

void Workbench::OnIdle() {
  static MFlowPoint point(ClassName, L"OnIdle");
  point.At(this).LogTimingPoint(++idleRounds, 0);
  monitor.Reach(RunMonitor::Milestone::Idle);

  const MCommandProcessor* const processor = held.load();
  if (processor == nullptr) {
    return;
  }
  monitor.Reach(RunMonitor::Milestone::Holding);
  // Asked again and again because the stop request itself is the only sign of it.
  while (!processor->IsStopRequested()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace host
