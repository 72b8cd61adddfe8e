// SPDX-License-Identifier: MIT
#include "Campaign.h"

#include "Memory.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Velta::Simulation {

namespace {

constexpr unsigned kMaxSeconds = 20;  // of one schedule, which takes less than a millisecond

Record* shared = nullptr;

void SetVerdict(const char* verdict) noexcept {
  if (shared->verdict[0] == '\0') {
    std::snprintf(shared->verdict, sizeof(shared->verdict), "%s", verdict);
  }
}

void OnAlarm(int /*signal*/) {
  SetVerdict("blocked outside of the scheduler");
  ::_exit(1);
}

std::vector<Deviation> DeviationsOf(const Step* steps, std::size_t count) {
  std::vector<Deviation> deviations;
  for (const Step* step = steps; step != steps + count; ++step) {
    if (!step->byDefault) {
      deviations.push_back({step->thread, step->decision, step->chosen});
    }
  }
  return deviations;
}

/// @return what `Memory::EndRun` said
std::int64_t RunOnce(const Scenario& scenario, Strategy& strategy, bool fine) {
  ::alarm(kMaxSeconds);
  Memory::BeginRun();
  {
    Scheduler scheduler(strategy, *shared, fine);
    scheduler.Run(scenario.body);
  }
  return Memory::EndRun();
}

/// A run may leave what is made once for the life of the process; a leak is left again.
bool LeavesAgain(const Scenario& scenario, bool fine) {
  const std::vector<Deviation> same = DeviationsOf(shared->step, shared->steps);
  Guided again(same);
  return RunOnce(scenario, again, fine) != 0;
}

void RunAll(const Scenario& scenario, const Plan& plan) {
  Exhaustive exhaustive(plan.preemptions);
  for (std::uint64_t i = 0; i < plan.schedules; ++i) {
    RandomWalk randomWalk(plan.seed + i);
    Priorities priorities(plan.seed + i, plan.depth);
    Guided guided(plan.deviations);
    Strategy* const strategies[] = {&randomWalk, &priorities, &exhaustive, &guided};
    const std::int64_t left =
        RunOnce(scenario, *strategies[static_cast<std::size_t>(plan.mode)], plan.fine);
    if (left < 0) {
      SetVerdict("freed memory written");
    } else if (left > 0 && LeavesAgain(scenario, plan.fine)) {
      SetVerdict("memory left over");
    }
    if (shared->verdict[0] != '\0') {
      ::_exit(1);
    }
    ++shared->schedules;
    if (plan.mode == Plan::Mode::Exhaustive && !exhaustive.Next()) {
      shared->exhausted = true;
      return;
    }
  }
}

[[noreturn]] void RunChild(const Scenario& scenario, const Plan& plan) {
  ::signal(SIGALRM, &OnAlarm);
  cpu_set_t one;  // threads that run one at a time are handed on faster within a core
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &one);
  ::sched_setaffinity(0, sizeof(one), &one);
  if (plan.mode != Plan::Mode::Replay) {  // what sanitizers print is told once
    static_cast<void>(std::freopen("/dev/null", "w", stderr));
  }
  RunAll(scenario, plan);
  ::_exit(0);
}

/// Verdicts are the same when they say the same of perhaps other objects.
std::string Kind(const std::string& verdict) {
  return verdict.substr(0, verdict.find_first_of("0123456789#("));
}

}  // namespace

std::string Plan::Options() const {
  std::string text;
  switch (mode) {
    case Mode::Random:
      text = "--mode random --seed " + std::to_string(seed);
      break;
    case Mode::Pct:
      text = "--mode pct --depth " + std::to_string(depth) + " --seed " + std::to_string(seed);
      break;
    case Mode::Exhaustive:
      return "--mode exhaustive --preemptions " + std::to_string(preemptions);
    case Mode::Replay:
      text = "--replay ";
      for (const Deviation& deviation : deviations) {
        text += (&deviation == deviations.data() ? "" : ",") + std::to_string(deviation.thread) +
                "." + std::to_string(deviation.decision) + ":" + std::to_string(deviation.chosen);
      }
      text += deviations.empty() ? "default" : "";
      return text + (fine ? " --fine" : "");
  }
  return text + " --schedules " + std::to_string(schedules) + (fine ? " --fine" : "");
}

std::vector<Deviation> Outcome::Deviations() const {
  return DeviationsOf(trace.data(), trace.size());
}

Outcome Explore(const Scenario& scenario, const Plan& plan) {
  static void* const memory =
      ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  shared = new (memory) Record{};
  std::fflush(stdout);
  const pid_t child = ::fork();
  if (child == 0) {
    RunChild(scenario, plan);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) {
    SetVerdict((std::string("crash: ") + ::strsignal(WTERMSIG(status))).c_str());
  } else if (WEXITSTATUS(status) != 0) {
    SetVerdict("the process ended by itself");
  }
  Outcome outcome{shared->schedules,
                  shared->totalSteps,
                  shared->exhausted,
                  shared->verdict,
                  shared->report,
                  {},
                  {}};
  outcome.trace.assign(shared->step, shared->step + shared->steps);
  outcome.threads.assign(std::begin(shared->threadName), std::end(shared->threadName));
  return outcome;
}

Plan Shrink(const Scenario& scenario, const Plan& plan, const Outcome& failure) {
  Plan best = plan;
  best.mode = Plan::Mode::Replay;
  best.schedules = 1;
  best.deviations = failure.Deviations();
  const auto fails = [&](const Plan& smaller) {
    return Kind(Explore(scenario, smaller).verdict) == Kind(failure.verdict);
  };
  // Halves, quarters, ... single ones, again and again until none can go.
  for (std::size_t piece = (best.deviations.size() + 1) / 2; piece > 0;) {
    bool isSmaller = false;
    for (std::size_t from = 0; from < best.deviations.size();) {
      Plan smaller = best;
      const auto begin = smaller.deviations.begin() + static_cast<std::ptrdiff_t>(from);
      const std::size_t count = (std::min)(piece, smaller.deviations.size() - from);
      smaller.deviations.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
      if (fails(smaller)) {
        best = smaller;
        isSmaller = true;
      } else {
        from += piece;
      }
    }
    piece = piece > 1 ? (piece + 1) / 2 : (isSmaller ? 1 : 0);
  }
  return best;
}

}  // namespace Velta::Simulation
