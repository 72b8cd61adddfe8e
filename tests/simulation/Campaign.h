// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Velta::Simulation {

struct Scenario {
  std::string name;
  std::function<void()> body;
  std::string expected;  // the verdict that every way of choosing must come to; empty: none
};

/// What there is to run; each program has its own.
std::vector<Scenario> AllScenarios();

}  // namespace Velta::Simulation
