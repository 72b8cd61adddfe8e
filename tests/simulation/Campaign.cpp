// SPDX-License-Identifier: MIT
// The driver: runs scenarios schedule by schedule, and reports the first that fails of each.
#include "Campaign.h"

#include "Scheduler.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <sstream>

#include <errno.h>
#include <fnmatch.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Velta::Simulation;

namespace {

constexpr char kUsage[] =
    "[--scenario PATTERN] [--mode random|pct|exhaustive|list] [--seed N] [--schedules N]\n"
    "[--preemptions N] [--replay THREAD.DECISION:CHOSEN,...]\n"
    "\n"
    "Tries --schedules (1000) at random and as many by random priorities (pct); each has a seed,\n"
    "the next one the next. Before these, all with up to --preemptions (1), but not more than 20\n"
    "times as many. The exit code says whether anything was found.\n";

constexpr unsigned kMaxSeconds = 20;  // of one schedule, which takes less than a millisecond

struct Plan {
  std::string mode;
  std::uint64_t seed;  // of the first schedule
  std::uint64_t schedules;
  std::uint64_t preemptions;          // exhaustive
  std::vector<Deviation> deviations;  // replay
  bool prints = false;

  /// What makes the driver do this again.
  [[nodiscard]] std::string Options() const;
};

Record* shared = nullptr;

[[noreturn]] void Refuse() {
  std::fprintf(stderr, "%s %s", program_invocation_short_name, kUsage);
  std::exit(2);
}

std::string TextOf(const std::vector<Deviation>& deviations) {
  std::string text;
  for (const Deviation& deviation : deviations) {
    text += (text.empty() ? "" : ",") + std::to_string(deviation.thread) + "." +
            std::to_string(deviation.decision) + ":" + std::to_string(deviation.chosen);
  }
  return text.empty() ? "default" : text;
}

std::vector<Deviation> ReadDeviations(const std::string& text) {
  std::vector<Deviation> deviations;
  std::istringstream rest(text);
  Deviation next{};
  char separator = '\0';
  while (rest >> next.thread >> separator >> next.decision >> separator >> next.chosen) {
    deviations.push_back(next);
    rest >> separator;
  }
  if (TextOf(deviations) != text) {
    Refuse();
  }
  return deviations;
}

std::uint64_t ReadNumber(const std::string& text) {
  const std::uint64_t number = std::strtoull(text.c_str(), nullptr, 10);
  if (std::to_string(number) != text) {
    Refuse();
  }
  return number;
}

std::string Plan::Options() const {
  if (mode == "replay") {
    return "--replay " + TextOf(deviations);
  }
  const bool isExhaustive = mode == "exhaustive";
  return "--mode " + mode +
         (isExhaustive ? " --preemptions " + std::to_string(preemptions)
                       : " --seed " + std::to_string(seed)) +
         " --schedules " + std::to_string(isExhaustive ? schedules / 20 : schedules);
}

// ---- one scenario by one plan -------------------------------------------------------------------

std::vector<Deviation> DeviationsOf(const Record& record) {
  return {record.deviation, record.deviation + record.deviations};
}

void SetVerdict(const char* verdict) noexcept {
  if (shared->verdict[0] == '\0') {
    std::snprintf(shared->verdict, sizeof(shared->verdict), "%s", verdict);
  }
}

std::unique_ptr<Strategy> StrategyOf(const Plan& plan) {
  if (plan.mode == "random") {
    return MakeRandomWalk();
  }
  if (plan.mode == "pct") {
    return MakePriorities();
  }
  if (plan.mode == "exhaustive") {
    return MakeExhaustive(plan.preemptions);
  }
  return MakeGuided(plan.deviations);
}

/// @return what `WatchMemory` said
std::int64_t RunOnce(const Scenario& scenario, Strategy& strategy) {
  ::alarm(kMaxSeconds);
  return WatchMemory([&] { RunSchedule(strategy, *shared, scenario.body); });
}

void RunAll(const Scenario& scenario, const Plan& plan) {
  const std::unique_ptr<Strategy> strategy = StrategyOf(plan);
  for (std::uint64_t i = 0; i < plan.schedules; ++i) {
    if (!strategy->Begin(plan.seed + i)) {
      shared->exhausted = true;
      return;
    }
    std::int64_t left = RunOnce(scenario, *strategy);
    if (left > 0) {  // perhaps made once for the life of the process: a leak is left again
      left = RunOnce(scenario, *MakeGuided(DeviationsOf(*shared)));
    }
    if (left != 0) {
      SetVerdict(left < 0 ? "freed memory written" : "memory left over");
      ::_exit(1);
    }
    ++shared->schedules;
  }
}

[[noreturn]] void RunChild(const Scenario& scenario, const Plan& plan) {
  ::signal(SIGALRM, [](int) {
    SetVerdict("blocked outside of the scheduler");
    ::_exit(1);
  });
  cpu_set_t one;  // threads that run one at a time follow each other faster within a core
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &one);
  ::sched_setaffinity(0, sizeof(one), &one);
  if (!plan.prints) {  // what sanitizers print is told once
    static_cast<void>(std::freopen("/dev/null", "w", stderr));
  }
  RunAll(scenario, plan);
  ::_exit(0);
}

/// Runs the scenario in a process of its own, schedule by schedule until one fails: a deadlocked
/// run and a broken heap end with it.
Record Explore(const Scenario& scenario, const Plan& plan) {
  static void* const memory =
      ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  shared = new (memory) Record{};
  shared->prints = plan.prints;
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
  return *shared;
}

/// Leaves out what the failure does not need: one deviation after another, until none can go.
/// @return the plan of what is left
Plan Shrink(const Scenario& scenario, const Plan& plan, const Record& failure) {
  Plan best = plan;
  best.mode = "replay";
  best.schedules = 1;
  best.deviations = DeviationsOf(failure);
  // Verdicts are the same when they say the same of perhaps other objects.
  const auto kindOf = [](const char* verdict) {
    return std::string(verdict, std::strcspn(verdict, "0123456789("));
  };
  for (bool isSmaller = true; isSmaller;) {
    isSmaller = false;
    for (std::size_t i = best.deviations.size(); i-- > 0;) {
      Plan smaller = best;
      smaller.deviations.erase(smaller.deviations.begin() + static_cast<std::ptrdiff_t>(i));
      if (kindOf(Explore(scenario, smaller).verdict) == kindOf(failure.verdict)) {
        best = smaller;
        isSmaller = true;
      }
    }
  }
  return best;
}

/// @return whether nothing was found; for a planted fault, whether it was, twice more by what the
///         report says
bool Try(const Scenario& scenario, const Plan& plan) {
  const auto outcome = std::make_unique<Record>(Explore(scenario, plan));
  const std::string verdict = outcome->verdict;
  std::printf("%-40s ", scenario.name.c_str());
  if (verdict.empty()) {
    std::printf("%8lu schedules, %lu steps each: %s%s\n", outcome->schedules,
                outcome->totalSteps / (std::max)(outcome->schedules, std::uint64_t{1}),
                plan.Options().c_str(), outcome->exhausted ? ", all" : "");
    return scenario.expected.empty();
  }
  Plan again = plan;
  if (plan.mode != "exhaustive") {
    again.seed += outcome->schedules;
    again.schedules = 1;
  }
  Plan shrunk = Shrink(scenario, plan, *outcome);
  if (verdict == scenario.expected) {
    const bool isRepeated =
        Explore(scenario, again).verdict == verdict && Explore(scenario, shrunk).verdict == verdict;
    std::printf("found in schedule %lu, %s, %zu deviations: %s\n", outcome->schedules + 1,
                isRepeated ? "again" : "NOT AGAIN", shrunk.deviations.size(),
                plan.Options().c_str());
    return isRepeated;
  }
  std::printf("FAILED in schedule %lu: %s\n", outcome->schedules + 1, verdict.c_str());
  shrunk.prints = true;
  Explore(scenario, shrunk);
  const std::string program =
      std::string(program_invocation_short_name) + " --scenario " + scenario.name;
  std::printf("  again:  %s %s\n", program.c_str(), again.Options().c_str());
  std::printf("  shrunk: %s %s  (%zu of %u deviations)\n", program.c_str(),
              shrunk.Options().c_str(), shrunk.deviations.size(), outcome->deviations);
  return false;
}

}  // namespace

int main(int count, char** arguments) {
  std::map<std::string, std::string> options{{"--scenario", "*"},    {"--mode", ""},
                                             {"--seed", "1"},        {"--schedules", "1000"},
                                             {"--preemptions", "1"}, {"--replay", ""}};
  for (int i = 1; i < count; i += 2) {
    const auto option = options.find(arguments[i]);
    if (option == options.end() || i + 1 == count) {
      Refuse();
    }
    option->second = arguments[i + 1];
  }
  const std::string mode = options["--replay"].empty() ? options["--mode"] : "replay";
  std::vector<Plan> plans;
  for (const char* const each : {"exhaustive", "random", "pct", "replay"}) {
    if (mode == each || (mode.empty() && each != std::string("replay"))) {
      plans.push_back({each,
                       ReadNumber(options["--seed"]),
                       ReadNumber(options["--schedules"]),
                       ReadNumber(options["--preemptions"]),
                       {}});
    }
  }
  if (mode == "exhaustive" || mode.empty()) {
    plans[0].schedules *= 20;
  } else if (mode == "replay") {
    plans[0].schedules = 1;
    plans[0].deviations = ReadDeviations(options["--replay"]);
    plans[0].prints = true;
  } else if (plans.empty() && mode != "list") {
    Refuse();
  }
  std::vector<Scenario> scenarios = AllScenarios();
  std::erase_if(scenarios, [&](const Scenario& scenario) {
    return ::fnmatch(options["--scenario"].c_str(), scenario.name.c_str(), 0) != 0;
  });
  std::size_t failed = 0;
  for (const Scenario& scenario : scenarios) {
    if (mode == "list") {
      std::printf("%s\n", scenario.name.c_str());
    }
    const auto isGood = [&](const Plan& plan) { return Try(scenario, plan); };
    failed += std::all_of(plans.begin(), plans.end(), isGood) ? 0 : 1;
  }
  if (mode != "list") {
    std::printf("%zu scenarios, %zu failed\n", scenarios.size(), failed);
  }
  return scenarios.empty() || failed != 0 ? 1 : 0;
}
