// SPDX-License-Identifier: MIT
#include "CallerPool.h"

#include "AddTotals.h"
#include "FrameworkErrors.h"
#include "Submit.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/text/MLocale.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>

namespace host {
namespace {

using Signal = RunMonitor::Signal;

const wchar_t ClassName[] = L"CallerPool";
const Velta::Logging::ClassNameRegistration registration(ClassName);

void NameThread(unsigned number) {
  MString name;
  MLocale::GetClassic().Format(name, L"Caller %u", number);
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterThreadName(name.c_str());
  }
}

}  // namespace

CallerPool::CallerPool(const Services& services, std::vector<FileResult>& results)
    : services_(services), results_(results) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
}

CallerPool::~CallerPool() {
  static MFlowPoint point(ClassName, L"~CallerPool");
  point.At(this).LogDestruction();
  services_.monitor.Send(Signal::kSubmitTotals);
  try {
    services_.processor.Stop();
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
  }
  Join();
}

void CallerPool::Start(unsigned count) {
  static MFlowPoint point(ClassName, L"Start");
  const MFlowScope scope = point.At(this).OpenScope(count, 0);
  callers_ = std::vector<Caller>(count);  // never grows: the threads keep references
  for (unsigned i = 0; i < count; ++i) {
    callers_[i].thread = std::thread([this, i] { Run(callers_[i], i + 1); });
  }
}

void CallerPool::Join() {
  for (Caller& caller : callers_) {
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
    const std::size_t index = nextResult_.fetch_add(1, std::memory_order_relaxed);
    if (index >= results_.size()) {
      break;
    }
    if (!results_[index].failure) {
      CountOne(caller, results_[index]);
    }
  }
  services_.monitor.Send(Signal::kFilesCounted);

  services_.monitor.WaitFor(Signal::kSubmitTotals);
  services_.monitor.Send(Signal::kTotalsSubmitted);
  SubmitTotals(caller);
}

void CallerPool::CountOne(Caller& caller, FileResult& result) {
  static MFlowPoint point(ClassName, L"CountOne");
  try {
    TranslateExceptions(point.At(this), [&] {
      Submit<CountFile>(services_.processor, services_.context, services_.scheduler,
                        services_.progress, result);
      caller.totals += result.totals;
    });
  } catch (const MException& exception) {
    result.failure.emplace(exception);  // reported with the results
  }
  NotifyFileDone(result);
}

void CallerPool::NotifyFileDone(const FileResult& result) {
  static MFlowPoint point(ClassName, L"NotifyFileDone");
  const std::uint64_t notYetNotified = result.totals.bytes % CountFile::kBytesPerNotification;
  try {
    TranslateExceptions(point.At(this), [&] {
      services_.scheduler.ScheduleDesyncEvent(
          std::make_unique<ProgressMade>(services_.progress, 1, notYetNotified).release());
    });
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);  // only the progress line is out of date
  }
}

void CallerPool::SubmitTotals(Caller& caller) {
  static MFlowPoint point(ClassName, L"SubmitTotals");
  try {
    TranslateExceptions(point.At(this), [&] {
      Submit<AddTotals>(services_.processor, services_.context, caller.totals);
    });
  } catch (const MException& exception) {
    caller.refusal.emplace(exception);  // for GetRefusedTotals
  }
}

unsigned CallerPool::GetAddedCount() const noexcept {
  return static_cast<unsigned>(callers_.size()) - GetRefusedCount();
}

unsigned CallerPool::GetRefusedCount() const noexcept {
  return static_cast<unsigned>(
      std::count_if(callers_.begin(), callers_.end(),
                    [](const Caller& caller) { return caller.refusal.has_value(); }));
}

Totals CallerPool::GetRefusedTotals() const noexcept {
  Totals refused;
  for (const Caller& caller : callers_) {
    if (caller.refusal) {
      refused += caller.totals;
    }
  }
  return refused;
}

}  // namespace host
