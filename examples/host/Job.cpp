// SPDX-License-Identifier: MIT
#include "Job.h"

#include "CallerPool.h"
#include "FrameworkErrors.h"
#include "HandOver.h"
#include "ListFolder.h"
#include "Submit.h"
#include "Workbench.h"
#include "examples/shared/RegisteredName.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/threads/MCallbackFunctor.h"

#include <chrono>
#include <memory>
#include <utility>

namespace host {
namespace {

using Milestone = RunMonitor::Milestone;

const wchar_t ClassName[] = L"Job";
const RegisteredName registeredName(ClassName);

// Short, since the end of a run waits for one idle round.
constexpr std::uint32_t kIdleTimeoutMs = 20;

std::unique_ptr<MCallbackFunctor> Hook(Workbench& bench, void (Workbench::*operation)()) {
  return std::make_unique<MCallbackFunctorImp<Workbench>>(&bench, operation);
}

std::unique_ptr<MCommandProcessor> MakeProcessor(RunMonitor& monitor, Workbench& bench) {
  // All are made before the first is given away: the processor deletes what it is given, and
  // nobody else what it is not.
  auto startHook = Hook(bench, &Workbench::OnThreadStart);
  auto exitHook = Hook(bench, &Workbench::OnThreadExit);
  auto idleHook = Hook(bench, &Workbench::OnIdle);
  return std::make_unique<MCommandProcessor>(&monitor, startHook.release(), exitHook.release(),
                                             idleHook.release(), kIdleTimeoutMs, false);
}

void NameObjects(const MCommandProcessor& processor, const MDesyncEventScheduler& scheduler) {
  if (MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance()) {
    registry->RegisterObjectName(&processor, L"file processor");
    registry->RegisterObjectName(&scheduler, L"progress notifications");
  }
}

class Job {
 public:
  Job(RunMonitor& runMonitor, ProgressLine::Writer writer)
      : monitor(runMonitor),
        bench(runMonitor),
        progress(std::move(writer)),
        scheduler(&runMonitor),
        processor(MakeProcessor(runMonitor, bench)) {
    static MFlowPoint point(ClassName, ClassName);
    point.At(this).LogConstruction();
    NameObjects(*processor, scheduler);
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
  void CloseDown(CallerPool& callers, unsigned callerCount);
  void AskTheStoppedProcessor();
  void EndNotifications();

  RunMonitor& monitor;
  Workbench bench;
  ProgressLine progress;
  // Behind all that commands and notifications refer to: what is still queued goes first.
  MDesyncEventScheduler scheduler;
  std::unique_ptr<MCommandProcessor> processor;
};

void Job::Run(const std::vector<std::filesystem::path>& paths, std::uint32_t callerCount) {
  static MFlowPoint point(ClassName, L"Run");
  const MFlowScope scope = point.At(this).OpenScope();
  scheduler.Enable();
  processor->Start();

  FindFiles(*processor, bench, paths, report.files);
  progress.ExpectFiles(report.files.size());
  CallerPool callers({*processor, scheduler, bench, progress, monitor}, report.files);
  callers.Start(callerCount);
  processor->Flush();  // in the midst of their calls: returns once what is queued by now has run
  report.flushed = true;
  monitor.WaitFor(Milestone::FilesCounted, callerCount);

  CloseDown(callers, callerCount);
  AskTheStoppedProcessor();
  EndNotifications();

  report.totals = bench.totals;
  report.totals += callers.GetTotalsLeft();
  report.handedOver = callers.GetHandedOver();
  report.refused = callers.GetRefused();
  report.commandsRun = bench.commandsRun;
  report.idleRounds = bench.idleRounds;
  report.startHookRuns = bench.startHookRuns;
  report.exitHookRuns = bench.exitHookRuns;
  report.notifications = progress.GetNotifications();
  report.failure = monitor.GetFailure();
}

// Stops the processor while every caller has work for it: what is queued by then is run, what comes
// later is refused, and either way its caller gets an answer.
void Job::CloseDown(CallerPool& callers, unsigned callerCount) {
  static MFlowPoint point(ClassName, L"CloseDown");
  const MFlowScope scope = point.At(this).OpenScope();
  bench.HoldUntilStopOf(*processor);
  monitor.WaitFor(Milestone::Holding, 1);
  monitor.Reach(Milestone::Closing);
  monitor.WaitFor(Milestone::HandingOver, callerCount);
  processor->Stop();
  callers.Join();
}

void Job::AskTheStoppedProcessor() {
  static MFlowPoint point(ClassName, L"AskTheStoppedProcessor");
  const MFlowScope scope = point.At(this).OpenScope();
  try {
    Submit<HandOver>(*processor, bench, Totals());
  } catch (const MException& exception) {
    report.lateRefusal.emplace(exception);
  }
}

void Job::EndNotifications() {
  static MFlowPoint point(ClassName, L"EndNotifications");
  const MFlowScope scope = point.At(this).OpenScope();
  scheduler.ScheduleDesyncEvent(std::make_unique<LastNotification>(progress, monitor).release());
  monitor.WaitFor(Milestone::AllNotified, 1);
  scheduler.Disable();
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
