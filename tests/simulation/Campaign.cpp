// SPDX-License-Identifier: MIT
// The driver: runs scenarios schedule by schedule, and reports the first that fails of each.
#include "Scheduler.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

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

constexpr unsigned kMaxSeconds = 60;  // of one schedule, which takes a millisecond of its own

/// Of this program, with their values: what makes it do something again.
using Options = std::map<std::string, std::string>;
using Deviations = std::vector<Deviation>;

Record* shared = nullptr;

[[noreturn]] void Refuse() {
  std::fprintf(stderr, "%s %s", program_invocation_short_name, kUsage);
  std::exit(2);
}

std::uint64_t NumberOf(const Options& options, const char* name) {
  const std::string& text = options.at(name);
  const std::uint64_t number = std::strtoull(text.c_str(), nullptr, 10);
  if (std::to_string(number) != text) {
    Refuse();
  }
  return number;
}

std::string TextOf(const Options& options) {
  std::string text = program_invocation_short_name;
  for (const auto& [name, value] : options) {
    text += value.empty() ? "" : " " + name + " " + value;
  }
  return text;
}

std::string TextOf(const Deviations& deviations) {
  std::string text;
  for (const Deviation& deviation : deviations) {
    text += (text.empty() ? "" : ",") + std::to_string(deviation.thread) + "." +
            std::to_string(deviation.decision) + ":" + std::to_string(deviation.chosen);
  }
  return text.empty() ? "default" : text;
}

Deviations ReadDeviations(const std::string& text) {
  Deviations deviations;
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

std::unique_ptr<Strategy> StrategyOf(const Options& options) {
  const std::string& mode = options.at("--mode");
  if (mode == "random") {
    return MakeRandomWalk();
  }
  if (mode == "pct") {
    return MakePriorities();
  }
  if (mode == "exhaustive") {
    return MakeExhaustive(NumberOf(options, "--preemptions"));
  }
  return MakeGuided(ReadDeviations(options.at("--replay")));
}

// ---- one scenario by one strategy ---------------------------------------------------------------

void SetVerdict(const char* verdict) noexcept {
  if (shared->verdict[0] == '\0') {
    std::snprintf(shared->verdict, sizeof(shared->verdict), "%s", verdict);
  }
}

Deviations DeviationsOf(const Record& record) {
  return {record.deviation, record.deviation + record.deviations};
}

/// @return what `WatchMemory` said
std::int64_t RunOnce(const Scenario& scenario, Strategy& strategy) {
  ::alarm(kMaxSeconds);
  return WatchMemory([&] { RunSchedule(strategy, *shared, scenario.body); });
}

void RunAll(const Scenario& scenario, const Options& options) {
  const std::unique_ptr<Strategy> strategy = StrategyOf(options);
  const std::uint64_t seed = NumberOf(options, "--seed");
  const std::uint64_t count =
      NumberOf(options, "--schedules") * (options.at("--mode") == "exhaustive" ? 20 : 1);
  for (std::uint64_t i = 0; i < count; ++i) {
    if (!strategy->Begin(seed + i)) {
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

/// Runs the scenario in a process of its own, schedule by schedule until one fails: a deadlocked
/// run and a broken heap end with it.
Record Explore(const Scenario& scenario, const Options& options, bool prints = false) {
  static void* const memory =
      ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  shared = new (memory) Record{};
  shared->prints = prints;
  std::fflush(stdout);
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGALRM, [](int) {
      SetVerdict("blocked outside of the scheduler");
      ::_exit(1);
    });
    cpu_set_t one;  // threads that run one at a time follow each other faster within a core
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &one);
    ::sched_setaffinity(0, sizeof(one), &one);
    if (!prints) {  // what sanitizers print is told once
      static_cast<void>(std::freopen("/dev/null", "w", stderr));
    }
    RunAll(scenario, options);
    ::_exit(0);
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

Options Replay(const Options& options, const Deviations& deviations) {
  Options replay = options;
  replay["--mode"] = "replay";
  replay["--replay"] = TextOf(deviations);
  return replay;
}

/// Leaves out what the failure does not need: one deviation after another, until none can go.
Deviations Shrink(const Scenario& scenario, const Options& options, const Record& failure) {
  Deviations best = DeviationsOf(failure);
  // Verdicts are the same when they say the same of perhaps other objects.
  const auto kindOf = [](const char* verdict) {
    return std::string(verdict, std::strcspn(verdict, "0123456789("));
  };
  for (bool isSmaller = true; isSmaller;) {
    isSmaller = false;
    for (std::size_t i = best.size(); i-- > 0;) {
      const auto out = best.begin() + static_cast<std::ptrdiff_t>(i);
      Deviations smaller(best.begin(), out);
      smaller.insert(smaller.end(), out + 1, best.end());
      const Record outcome = Explore(scenario, Replay(options, smaller));
      if (kindOf(outcome.verdict) == kindOf(failure.verdict)) {
        best = smaller;
        isSmaller = true;
      }
    }
  }
  return best;
}

/// @return whether nothing was found; for a planted fault, whether it was, twice more by what the
///         report says
bool Try(const Scenario& scenario, Options options, const std::string& mode) {
  options["--mode"] = mode;
  options["--scenario"] = scenario.name;
  const Record outcome = Explore(scenario, options, mode == "replay");
  const std::string verdict = outcome.verdict;
  std::printf("%-40s ", scenario.name.c_str());
  if (verdict.empty()) {
    std::printf("%8lu schedules, %lu steps each: %s%s\n", outcome.schedules,
                outcome.totalSteps / (std::max)(outcome.schedules, std::uint64_t{1}), mode.c_str(),
                outcome.exhausted ? ", all" : "");
    return scenario.expected.empty();
  }
  Options again = options;
  if (mode == "random" || mode == "pct") {
    again["--seed"] = std::to_string(NumberOf(options, "--seed") + outcome.schedules);
    again["--schedules"] = "1";
  }
  const Deviations deviations = Shrink(scenario, options, outcome);
  const Options shrunk = Replay(options, deviations);
  if (verdict == scenario.expected) {
    const bool isRepeated =
        Explore(scenario, again).verdict == verdict && Explore(scenario, shrunk).verdict == verdict;
    std::printf("found in schedule %lu, %s, %zu deviations: %s\n", outcome.schedules + 1,
                isRepeated ? "again" : "NOT AGAIN", deviations.size(), mode.c_str());
    return isRepeated;
  }
  std::printf("FAILED in schedule %lu: %s\n", outcome.schedules + 1, verdict.c_str());
  Explore(scenario, shrunk, true);
  std::printf("  again:  %s\n", TextOf(again).c_str());
  std::printf("  shrunk: %s  (%zu of %u deviations)\n", TextOf(shrunk).c_str(), deviations.size(),
              outcome.deviations);
  return false;
}

}  // namespace

int main(int count, char** arguments) {
  Options options{{"--scenario", "*"},     {"--mode", ""},         {"--seed", "1"},
                  {"--schedules", "1000"}, {"--preemptions", "1"}, {"--replay", ""}};
  for (int i = 1; i < count; i += 2) {
    const auto option = options.find(arguments[i]);
    if (option == options.end() || i + 1 == count) {
      Refuse();
    }
    option->second = arguments[i + 1];
  }
  const std::string mode = options["--replay"].empty() ? options["--mode"] : "replay";
  std::vector<std::string> modes{"exhaustive", "random", "pct", "replay", "list"};
  if (mode.empty()) {
    modes.resize(3);
  } else if (std::erase_if(modes, [&](const auto& each) { return each != mode; }) == 5) {
    Refuse();
  }
  for (const char* const name : {"--seed", "--schedules", "--preemptions"}) {
    static_cast<void>(NumberOf(options, name));
  }
  std::size_t tried = 0;
  std::size_t failed = 0;
  for (const Scenario& scenario : AllScenarios()) {
    if (::fnmatch(options["--scenario"].c_str(), scenario.name.c_str(), 0) != 0) {
      continue;
    }
    ++tried;
    if (mode == "list") {
      std::printf("%s\n", scenario.name.c_str());
      continue;
    }
    const auto isGood = [&](const std::string& each) { return Try(scenario, options, each); };
    failed += std::all_of(modes.begin(), modes.end(), isGood) ? 0 : 1;
  }
  if (mode != "list") {
    std::printf("%zu scenarios, %zu failed\n", tried, failed);
  }
  return tried == 0 || failed != 0 ? 1 : 0;
}
