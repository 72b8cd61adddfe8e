// SPDX-License-Identifier: MIT
#pragma once

#include "Scheduler.h"
#include "Strategies.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Velta::Simulation {

struct Scenario {
  std::string name;
  std::function<void()> body;
  std::string expected;  // the verdict that every way of exploring must come to; empty: none
};

/// What there is to run; each program has its own.
void AddScenarios(std::vector<Scenario>& scenarios);
/// What a step's object is called in reports; empty when it is an address.
std::string NameOf(std::uintptr_t object);

struct Plan {
  enum class Mode : std::uint8_t { Random, Pct, Exhaustive, Replay };

  Mode mode = Mode::Random;
  std::uint64_t seed = 1;  // of the first schedule; the next has the next
  std::uint64_t schedules = 1000;
  std::uint32_t preemptions = 1;      // Exhaustive
  std::uint32_t depth = 3;            // Pct
  bool fine = false;                  // decision points also after what others can see
  std::vector<Deviation> deviations;  // Replay

  /// What makes the driver do this again.
  [[nodiscard]] std::string Options() const;
};

struct Outcome {
  std::uint64_t schedules = 0;  // completed
  std::uint64_t steps = 0;      // in all of them
  bool exhausted = false;
  std::string verdict;               // empty: nothing was found
  std::string report;                // what the threads were doing
  std::vector<Step> trace;           // of the last schedule
  std::vector<std::string> threads;  // their names, by number

  [[nodiscard]] std::vector<Deviation> Deviations() const;
};

/// Runs the scenario in a process of its own, schedule by schedule until one fails: a deadlocked
/// run and a broken heap end with it.
Outcome Explore(const Scenario& scenario, const Plan& plan);

/// Leaves out what the failure does not need. @return the plan of what is left
Plan Shrink(const Scenario& scenario, const Plan& plan, const Outcome& failure);

}  // namespace Velta::Simulation
