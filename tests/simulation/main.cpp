// SPDX-License-Identifier: MIT
// The driver: runs scenarios schedule by schedule and reports the first that fails of each.
#include "Campaign.h"
#include "Kit.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fnmatch.h>

using namespace Velta::Simulation;

namespace {

constexpr char kUsage[] =
    "velta_simulation [--list] [--scenario PATTERN] [--mode random|pct|exhaustive] [--seed N]\n"
    "                 [--schedules N] [--preemptions N] [--depth N] [--fine]\n"
    "                 [--replay THREAD.DECISION:CHOSEN,...]\n"
    "Without --mode: exhaustively with --preemptions (1), then --schedules (1000) at random and "
    "as\n"
    "many with random priorities.\n";

struct Options {
  std::string pattern = "*";
  bool list = false;
  bool everyMode = true;
  Plan plan;
};

[[noreturn]] void Refuse() {
  std::fputs(kUsage, stderr);
  std::exit(2);
}

std::uint64_t Number(const char* text) {
  char* end = nullptr;
  const std::uint64_t number = std::strtoull(text, &end, 10);
  if (end == text || *end != '\0') {
    Refuse();
  }
  return number;
}

std::vector<Deviation> ReadDeviations(const char* text) {
  std::vector<Deviation> deviations;
  for (int length = 0; *text != '\0' && std::strcmp(text, "default") != 0; text += length) {
    Deviation deviation{};
    if (std::sscanf(text, "%u.%u:%u%n", &deviation.thread, &deviation.decision, &deviation.chosen,
                    &length) != 3) {
      Refuse();
    }
    length += text[length] == ',' ? 1 : 0;
    deviations.push_back(deviation);
  }
  return deviations;
}

Options ReadOptions(int count, char** arguments) {
  Options options;
  Plan& plan = options.plan;
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    if (name == "--list") {
      options.list = true;
      continue;
    }
    if (name == "--fine") {
      plan.fine = true;
      continue;
    }
    if (++i == count) {
      Refuse();
    }
    const char* const value = arguments[i];
    const auto number = [value] { return static_cast<std::uint32_t>(Number(value)); };
    if (name == "--scenario") {
      options.pattern = value;
    } else if (name == "--seed") {
      plan.seed = Number(value);
    } else if (name == "--schedules") {
      plan.schedules = Number(value);
    } else if (name == "--preemptions") {
      plan.preemptions = number();
    } else if (name == "--depth") {
      plan.depth = number();
    } else if (name == "--replay") {
      options.everyMode = false;
      plan.mode = Plan::Mode::Replay;
      plan.schedules = 1;
      plan.deviations = ReadDeviations(value);
    } else if (name == "--mode") {
      options.everyMode = false;
      const std::string mode = value;
      plan.mode = mode == "random"       ? Plan::Mode::Random
                  : mode == "pct"        ? Plan::Mode::Pct
                  : mode == "exhaustive" ? Plan::Mode::Exhaustive
                                         : (Refuse(), Plan::Mode::Random);
      plan.schedules = mode == "exhaustive" ? UINT64_MAX : plan.schedules;
    } else {
      Refuse();
    }
  }
  return options;
}

void PrintSteps(const Outcome& outcome) {
  for (const Step& step : outcome.trace) {
    std::printf("    %2u.%-3u %-24s %s", step.thread, step.decision,
                outcome.threads[step.thread].c_str(), step.name);
    if (step.object != 0) {
      std::printf(" %#zx", static_cast<std::size_t>(step.object));
    }
    std::printf(step.byDefault ? "\n" : "  -> %u\n", step.chosen);
  }
  std::printf("%s", outcome.report.c_str());
}

/// @return whether nothing was found
bool Try(const Scenario& scenario, const Plan& plan) {
  const Outcome outcome = Explore(scenario, plan);
  if (outcome.verdict.empty()) {
    if (plan.mode == Plan::Mode::Replay) {
      PrintSteps(outcome);
    }
    std::printf("%-40s %9llu schedules, %llu steps each: %s%s\n", scenario.name.c_str(),
                static_cast<unsigned long long>(outcome.schedules),
                static_cast<unsigned long long>(outcome.steps / outcome.schedules),
                plan.Options().c_str(), outcome.exhausted ? ", all" : "");
    return true;
  }
  Plan again = plan;
  again.seed += outcome.schedules;
  again.schedules = 1;
  const Plan shrunk = Shrink(scenario, plan, outcome);
  std::printf("%-40s FAILED in schedule %llu: %s\n", scenario.name.c_str(),
              static_cast<unsigned long long>(outcome.schedules + 1), outcome.verdict.c_str());
  const Outcome last = Explore(scenario, shrunk);
  std::printf("  shrunk from %zu deviations to %zu: %s\n", outcome.Deviations().size(),
              shrunk.deviations.size(), last.verdict.c_str());
  PrintSteps(last);
  std::printf("  again:  velta_simulation --scenario %s %s\n", scenario.name.c_str(),
              again.Options().c_str());
  std::printf("  shrunk: velta_simulation --scenario %s %s\n", scenario.name.c_str(),
              shrunk.Options().c_str());
  return false;
}

bool TryEveryMode(const Scenario& scenario, Plan plan) {
  Plan exhaustive = plan;
  exhaustive.mode = Plan::Mode::Exhaustive;
  exhaustive.schedules = UINT64_MAX;
  bool isGood = Try(scenario, exhaustive);
  plan.mode = Plan::Mode::Random;
  isGood = Try(scenario, plan) && isGood;
  plan.mode = Plan::Mode::Pct;
  return Try(scenario, plan) && isGood;
}

}  // namespace

int main(int count, char** arguments) {
  const Options options = ReadOptions(count, arguments);
  std::vector<Scenario> scenarios;
  AddProcessorScenarios(scenarios);
  int tried = 0;
  int failed = 0;
  for (const Scenario& scenario : scenarios) {
    if (::fnmatch(options.pattern.c_str(), scenario.name.c_str(), 0) != 0) {
      continue;
    }
    ++tried;
    if (options.list) {
      std::printf("%s\n", scenario.name.c_str());
    } else if (!(options.everyMode ? TryEveryMode(scenario, options.plan)
                                   : Try(scenario, options.plan))) {
      ++failed;
    }
  }
  if (!options.list) {
    std::printf("%d scenarios, %d failed\n", tried, failed);
  }
  return tried == 0 || failed != 0 ? 1 : 0;
}
