// SPDX-License-Identifier: MIT
// The driver: runs scenarios schedule by schedule, and reports the first that fails of each.
#include "Campaign.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <errno.h>
#include <fnmatch.h>

using namespace Velta::Simulation;

namespace {

using Mode = Plan::Mode;

constexpr char kUsage[] =
    "velta_simulation [--list] [--scenario PATTERN] [--mode random|pct|exhaustive] [--seed N]\n"
    "                 [--schedules N] [--preemptions N] [--depth N] [--fine]\n"
    "                 [--replay THREAD.DECISION:CHOSEN,...]\n"
    "\n"
    "Without --mode: --schedules (1000) at random, and as many with random priorities and --fine\n"
    "points; before, all with up to --preemptions (1), but not more than 20 times as many. Each\n"
    "schedule has a seed, the next one the next. The exit code says whether anything was found.\n";

struct Options {
  std::string pattern = "*";
  bool list = false;
  std::optional<Mode> mode;
  std::optional<std::uint64_t> schedules;
  Plan plan;
};

[[noreturn]] void Refuse() {
  std::fputs(kUsage, stderr);
  std::exit(2);
}

/// Reads a number that `end` follows, and moves on after it.
std::uint64_t Number(const char*& text, char end = '\0') {
  char* next = nullptr;
  const std::uint64_t number = std::strtoull(text, &next, 10);
  if (next == text || *next != end) {
    Refuse();
  }
  text = end != '\0' ? next + 1 : next;
  return number;
}

Mode ModeOf(const std::string& name) {
  constexpr const char* kNames[] = {"random", "pct", "exhaustive"};
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) {
    Refuse();
  }
  return static_cast<Mode>(found - kNames);
}

std::vector<Deviation> ReadDeviations(std::string list) {
  std::vector<Deviation> deviations;
  list += list == "default" ? "" : ",";
  const char* text = list.c_str();
  const auto next = [&text](char end) { return static_cast<std::uint32_t>(Number(text, end)); };
  while (list != "default" && *text != '\0') {
    const std::uint32_t thread = next('.');
    const std::uint32_t decision = next(':');
    deviations.push_back({thread, decision, next(',')});
  }
  return deviations;
}

Options ReadOptions(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    if (name == "--list" || name == "--fine") {
      (name == "--list" ? options.list : options.plan.fine) = true;
      continue;
    }
    if (++i == count) {
      Refuse();
    }
    const char* value = arguments[i];
    if (name == "--scenario") {
      options.pattern = value;
    } else if (name == "--mode") {
      options.mode = ModeOf(value);
    } else if (name == "--replay") {
      options.mode = Mode::Replay;
      options.plan.deviations = ReadDeviations(value);
    } else if (name == "--seed") {
      options.plan.seed = Number(value);
    } else if (name == "--schedules") {
      options.schedules = Number(value);
    } else if (name == "--preemptions") {
      options.plan.preemptions = static_cast<std::uint32_t>(Number(value));
    } else if (name == "--depth") {
      options.plan.depth = static_cast<std::uint32_t>(Number(value));
    } else {
      Refuse();
    }
  }
  return options;
}

std::vector<Plan> PlansOf(const Options& options) {
  std::vector<Plan> plans;
  for (const Mode mode : {Mode::Exhaustive, Mode::Random, Mode::Pct, Mode::Replay}) {
    Plan plan = options.plan;
    plan.mode = mode;
    plan.schedules = options.schedules.value_or(plan.schedules);
    if (mode == Mode::Replay) {
      plan.schedules = 1;
    } else if (mode == Mode::Exhaustive) {
      plan.schedules = options.mode ? options.schedules.value_or(UINT64_MAX) : 20 * plan.schedules;
    } else if (mode == Mode::Pct) {
      plan.fine = plan.fine || !options.mode;  // costs this way of searching least
    }
    if (options.mode.value_or(mode) == mode && (options.mode || mode != Mode::Replay)) {
      plans.push_back(plan);
    }
  }
  return plans;
}

void PrintSteps(const Outcome& outcome) {
  std::vector<std::uintptr_t> addresses;
  for (const Step& step : outcome.trace) {
    std::printf("    %2u.%-3u %-24s %s", step.thread, step.decision,
                outcome.threads[step.thread].c_str(), step.name);
    const std::string name = step.object != 0 ? NameOf(step.object) : "";
    if (!name.empty()) {
      std::printf(" %s", name.c_str());
    } else if (step.object != 0) {
      const auto found = std::find(addresses.begin(), addresses.end(), step.object);
      std::printf(" (%zu)", static_cast<std::size_t>(found - addresses.begin()) + 1);
      addresses.insert(addresses.end(), found == addresses.end() ? 1 : 0, step.object);
    }
    std::printf(step.byDefault ? "\n" : "  -> %u\n", step.chosen);
  }
  std::printf("%s", outcome.report.c_str());
}

unsigned long long Print(std::uint64_t number) { return number; }

/// @return whether nothing was found; for a planted fault, whether it was, twice more by what the
///         report says
bool Try(const Scenario& scenario, const Plan& plan) {
  const Outcome outcome = Explore(scenario, plan);
  const char* const name = scenario.name.c_str();
  Plan again = plan;
  if (plan.mode != Mode::Exhaustive) {
    again.seed += outcome.schedules;
    again.schedules = 1;
  }
  if (!scenario.expected.empty() && outcome.verdict == scenario.expected) {
    const Plan shrunk = Shrink(scenario, plan, outcome);
    const bool isRepeated = Explore(scenario, again).verdict == outcome.verdict &&
                            Explore(scenario, shrunk).verdict == outcome.verdict;
    std::printf("%-40s found in schedule %llu, %s, %zu deviations: %s\n", name,
                Print(outcome.schedules + 1), isRepeated ? "again" : "NOT AGAIN",
                shrunk.deviations.size(), plan.Options().c_str());
    return isRepeated;
  }
  if (outcome.verdict.empty()) {
    if (plan.mode == Mode::Replay) {
      PrintSteps(outcome);
    }
    std::printf("%-40s %8llu schedules, %llu steps each: %s%s\n", name, Print(outcome.schedules),
                Print(outcome.steps / outcome.schedules), plan.Options().c_str(),
                outcome.exhausted ? ", all" : "");
    return scenario.expected.empty();
  }
  std::printf("%-40s FAILED in schedule %llu: %s\n", name, Print(outcome.schedules + 1),
              outcome.verdict.c_str());
  const Plan shrunk = Shrink(scenario, plan, outcome);
  PrintSteps(Explore(scenario, shrunk));
  const char* const program = program_invocation_short_name;
  std::printf("  again:  %s --scenario %s %s\n", program, name, again.Options().c_str());
  std::printf("  shrunk: %s --scenario %s %s  (%zu of %zu deviations)\n", program, name,
              shrunk.Options().c_str(), shrunk.deviations.size(), outcome.Deviations().size());
  return false;
}

}  // namespace

int main(int count, char** arguments) {
  const Options options = ReadOptions(count, arguments);
  const std::vector<Plan> plans = PlansOf(options);
  std::vector<Scenario> scenarios;
  AddScenarios(scenarios);
  std::erase_if(scenarios, [&](const Scenario& scenario) {
    return ::fnmatch(options.pattern.c_str(), scenario.name.c_str(), 0) != 0;
  });
  std::size_t failed = 0;
  for (const Scenario& scenario : scenarios) {
    if (options.list) {
      std::printf("%s\n", scenario.name.c_str());
      continue;
    }
    const bool isGood = std::all_of(plans.begin(), plans.end(),
                                    [&](const Plan& plan) { return Try(scenario, plan); });
    failed += isGood ? 0 : 1;
  }
  if (!options.list) {
    std::printf("%zu scenarios, %zu failed\n", scenarios.size(), failed);
  }
  return scenarios.empty() || failed != 0 ? 1 : 0;
}
