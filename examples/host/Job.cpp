// SPDX-License-Identifier: MIT
#include "Job.h"

#include "AddTotals.h"
#include "CallerPool.h"
#include "FrameworkErrors.h"
#include "ListFolder.h"
#include "ProcessorContext.h"
#include "Submit.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/threads/MCallbackFunctor.h"

#include <chrono>
#include <memory>
#include <utility>

namespace host {
namespace {

using Signal = RunMonitor::Signal;

const wchar_t ClassName[] = L"Job";
const Velta::Logging::ClassNameRegistration registration(ClassName);

// Short, since the stop waits for the idle hook once.
constexpr std::uint32_t kIdleTimeoutMs = 20;

std::unique_ptr<MCallbackFunctor> Hook(ProcessorContext& context,
                                       void (ProcessorContext::*operation)()) {
  return std::make_unique<MCallbackFunctorImp<ProcessorContext>>(&context, operation);
}

std::unique_ptr<MCommandProcessor> MakeProcessor(RunMonitor& monitor, ProcessorContext& context) {
  // All are made before the first is released: only a processor that is constructed deletes them.
  auto startHook = Hook(context, &ProcessorContext::OnThreadStart);
  auto exitHook = Hook(context, &ProcessorContext::OnThreadExit);
  auto idleHook = Hook(context, &ProcessorContext::OnIdle);
  return std::make_unique<MCommandProcessor>(&monitor, startHook.release(), exitHook.release(),
                                             idleHook.release(), kIdleTimeoutMs, false);
}

void NameObjects(const MCommandProcessor& processor, const MDesyncEventScheduler& scheduler) {
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterObjectName(&processor, L"file processor");
    registry->RegisterObjectName(&scheduler, L"progress notifications");
  }
}

/// The objects of one run: what the commands and notifications refer to, and what runs them.
class Job {
 public:
  Job(RunMonitor& monitor, ProgressLine::Writer progress)
      : monitor_(monitor),
        context_(monitor),
        progress_(std::move(progress)),
        scheduler_(&monitor),
        processor_(MakeProcessor(monitor, context_)) {
    static MFlowPoint point(ClassName, ClassName);
    point.At(this).LogConstruction();
    NameObjects(*processor_, scheduler_);
  }
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;

  ~Job() {
    static MFlowPoint point(ClassName, L"~Job");
    point.At(this).LogDestruction();
  }

  void Run(const std::vector<std::filesystem::path>& paths, std::uint32_t callerCount);

  JobReport report;

 private:
  void CountFiles(CallerPool& callers, std::uint32_t callerCount);
  void StopWithQueuedCommands(CallerPool& callers, std::uint32_t callerCount);
  void SubmitAfterStop();
  void DisableNotifications();
  void FillReport(const CallerPool& callers);

  RunMonitor& monitor_;
  ProcessorContext context_;
  ProgressLine progress_;
  // Last, so that they are destroyed before anything that their commands and notifications use.
  MDesyncEventScheduler scheduler_;
  std::unique_ptr<MCommandProcessor> processor_;
};

void Job::Run(const std::vector<std::filesystem::path>& paths, std::uint32_t callerCount) {
  static MFlowPoint point(ClassName, L"Run");
  const MFlowScope scope = point.At(this).OpenScope();
  scheduler_.Enable();  // first, since commands schedule notifications
  processor_->Start();

  FindFiles(*processor_, context_, paths, report.files);
  progress_.ExpectFiles(report.files.size());
  CallerPool callers({*processor_, scheduler_, context_, progress_, monitor_}, report.files);
  CountFiles(callers, callerCount);

  StopWithQueuedCommands(callers, callerCount);
  SubmitAfterStop();
  DisableNotifications();
  FillReport(callers);
}

void Job::CountFiles(CallerPool& callers, std::uint32_t callerCount) {
  callers.Start(callerCount);
  processor_->Flush();  // returns once the commands that are queued now have run
  report.flushed = true;
  monitor_.WaitFor(Signal::kFilesCounted, callerCount);
}

// Stops the processor while each caller has a command for it. Those that are queued by then are
// run, those that come later are refused; no caller waits for ever.
void Job::StopWithQueuedCommands(CallerPool& callers, std::uint32_t callerCount) {
  static MFlowPoint point(ClassName, L"StopWithQueuedCommands");
  const MFlowScope scope = point.At(this).OpenScope();
  context_.BlockUntilStop(*processor_);
  monitor_.WaitFor(Signal::kProcessorBlocked);
  monitor_.Send(Signal::kSubmitTotals);
  monitor_.WaitFor(Signal::kTotalsSubmitted, callerCount);
  processor_->Stop();
  callers.Join();
}

// A stopped processor refuses commands.
void Job::SubmitAfterStop() {
  static MFlowPoint point(ClassName, L"SubmitAfterStop");
  const MFlowScope scope = point.At(this).OpenScope();
  try {
    Submit<AddTotals>(*processor_, context_, Totals());
  } catch (const MException& exception) {
    report.refusedAfterStop.emplace(exception);
  }
}

// Notifications that are queued when their scheduler is disabled are not delivered, so the last one
// is waited for.
void Job::DisableNotifications() {
  static MFlowPoint point(ClassName, L"DisableNotifications");
  const MFlowScope scope = point.At(this).OpenScope();
  scheduler_.ScheduleDesyncEvent(std::make_unique<LastNotification>(progress_, monitor_).release());
  monitor_.WaitFor(Signal::kLastNotification);
  scheduler_.Disable();
}

// The processor and the callers have ended, so that their counters can be read.
void Job::FillReport(const CallerPool& callers) {
  report.totals = context_.totals;
  report.totals += callers.GetRefusedTotals();
  report.runAtStop = callers.GetAddedCount();
  report.refusedAtStop = callers.GetRefusedCount();
  report.commandsRun = context_.commandsRun;
  report.idleHookRuns = context_.idleHookRuns;
  report.startHookRuns = context_.startHookRuns;
  report.exitHookRuns = context_.exitHookRuns;
  report.notifications = progress_.GetNotifications();
  report.failure = monitor_.GetFailure();
}

}  // namespace

JobReport RunJob(const std::vector<std::filesystem::path>& paths, std::uint32_t callers,
                 RunMonitor& monitor, ProgressLine::Writer progress, std::ostream* eventLog) {
  const auto start = std::chrono::steady_clock::now();
  Job job(monitor, std::move(progress));
  job.Run(paths, callers);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  job.report.seconds = elapsed.count();
  if (MFlowLogger* const logger = MFlowLogger::Instance();
      logger != nullptr && eventLog != nullptr) {
    logger->Dump(*eventLog);
  }
  return std::move(job.report);
}

}  // namespace host
