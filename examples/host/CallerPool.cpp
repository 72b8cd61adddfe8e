// SPDX-License-Identifier: MIT
#include "CallerPool.h"

#include "FrameworkErrors.h"
#include "HandOver.h"
#include "Submit.h"
#include "examples/shared/RegisteredName.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/text/MLocale.h"

#include <algorithm>
#include <memory>

namespace host {
namespace {

const wchar_t ClassName[] = L"CallerPool";
const RegisteredName registeredName(ClassName);

void NameThread(unsigned number) {
  MString name;
  MLocale::GetClassic().Format(name, L"Caller %u", number);
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterThreadName(name.c_str());
  }
}

}  // namespace

CallerPool::CallerPool(const Tools& callerTools, std::vector<FileResult>& fileResults)
    : tools(callerTools), results(fileResults) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
}

CallerPool::~CallerPool() {
  static MFlowPoint point(ClassName, L"~CallerPool");
  point.At(this).LogDestruction();
  tools.monitor.Reach(RunMonitor::Milestone::Closing);
  try {
    tools.processor.Stop();
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
  }
  Join();
}

void CallerPool::Start(unsigned count) {
  static MFlowPoint point(ClassName, L"Start");
  const MFlowScope scope = point.At(this).OpenScope(count, 0);
  callers = std::vector<Caller>(count);  // never grows: the threads keep references
  for (unsigned i = 0; i < count; ++i) {
    callers[i].thread = std::thread([this, i] { Run(callers[i], i + 1); });
  }
}

void CallerPool::Join() {
  for (Caller& caller : callers) {
    if (caller.thread.joinable()) {
      caller.thread.join();
    }
  }
}

void CallerPool::Run(Caller& caller, unsigned number) {
  static MFlowPoint point(ClassName, L"Run");
  NameThread(number);
  const MFlowScope scope = point.At(this).OpenScope(number, 0);
  for (;;) {
    const std::size_t index = nextResult.fetch_add(1, std::memory_order_relaxed);
    if (index >= results.size()) {
      break;
    }
    if (!results[index].failure) {
      CountOne(caller, results[index]);
    }
  }
  tools.monitor.Reach(RunMonitor::Milestone::FilesCounted);

  tools.monitor.WaitFor(RunMonitor::Milestone::Closing, 1);
  tools.monitor.Reach(RunMonitor::Milestone::HandingOver);
  HandTotalsOver(caller);
}

void CallerPool::CountOne(Caller& caller, FileResult& result) {
  static MFlowPoint point(ClassName, L"CountOne");
  try {
    ThrowingFrameworkErrors(point.At(this), [&] {
      Submit<CountFile>(tools.processor, tools.bench, tools.scheduler, tools.progress, result);
      caller.totals += result.totals;
    });
  } catch (const MException& exception) {
    result.failure.emplace(exception);  // reported at the end
  }
  NotifyDone(result);
}

void CallerPool::NotifyDone(const FileResult& result) {
  static MFlowPoint point(ClassName, L"NotifyDone");
  const std::uint64_t notYetNotified = result.totals.bytes % CountFile::kBytesPerNotification;
  try {
    ThrowingFrameworkErrors(point.At(this), [&] {
      tools.scheduler.ScheduleDesyncEvent(
          std::make_unique<ProgressMade>(tools.progress, 1, notYetNotified).release());
    });
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);  // the line lags behind, that is all
  }
}

void CallerPool::HandTotalsOver(Caller& caller) {
  static MFlowPoint point(ClassName, L"HandTotalsOver");
  try {
    ThrowingFrameworkErrors(point.At(this),
                            [&] { Submit<HandOver>(tools.processor, tools.bench, caller.totals); });
  } catch (const MException& exception) {
    caller.refusal.emplace(exception);  // the totals stay here, for GetTotalsLeft
  }
}

unsigned CallerPool::GetHandedOver() const noexcept {
  return static_cast<unsigned>(callers.size()) - GetRefused();
}

unsigned CallerPool::GetRefused() const noexcept {
  return static_cast<unsigned>(
      std::count_if(callers.begin(), callers.end(),
                    [](const Caller& caller) { return caller.refusal.has_value(); }));
}

Totals CallerPool::GetTotalsLeft() const noexcept {
  Totals left;
  for (const Caller& caller : callers) {
    if (caller.refusal) {
      left += caller.totals;
    }
  }
  return left;
}

}  // namespace host
