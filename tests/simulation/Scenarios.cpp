// SPDX-License-Identifier: MIT
// What the simulation of the library runs.
#include "Campaign.h"
#include "Kit.h"
#include "Platform.h"

namespace Velta::Simulation {

void AddScenarios(std::vector<Scenario>& scenarios) {
  AddPlantedFaults(scenarios);
  AddSchedulerScenarios(scenarios);
  AddProcessorScenarios(scenarios);
}

std::string NameOf(std::uintptr_t object) {
  return object < Platform::kHandleLimit ? "#" + std::to_string(Platform::NumberOf(object)) : "";
}

}  // namespace Velta::Simulation
