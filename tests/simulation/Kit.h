// SPDX-License-Identifier: MIT
#pragma once

#include "Scheduler.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// What scenarios of the library are made of.
namespace Velta::Simulation {

struct Error {
  std::string name;          // empty: none
  std::string winErrorCode;  // the parameter, if it has one
};

/// Makes a call that may raise one of the errors `documented` ("A|B"; "*": any), no other.
Error Call(const char* operation, std::string_view documented, const std::function<void()>& call);

/// A scenario after which no handle may be open.
Scenario InRun(std::string name, std::function<void()> body, std::string expected = "");

std::vector<Scenario> ProcessorScenarios();
std::vector<Scenario> SchedulerScenarios();
/// Programs with a fault each, and the verdict that it must get.
std::vector<Scenario> PlantedFaults();

/// The simulated platform as scenarios see it, beside the calls themselves.
namespace Platform {

struct Counts {
  std::uint32_t liveThreads = 0;  // that have not ended
  std::uint32_t openThreads = 0;  // whose handles have not been closed
  std::uint32_t openHandles = 0;
};
Counts Count() noexcept;

/// Fails the run when a handle is open. To be called at its end.
void CheckAllClosed();

/// The calling thread gets so many more events or threads, then none: `kRefusal` is why.
void Grant(std::int32_t count) noexcept;
inline constexpr std::int32_t kUnlimited = -1;
inline constexpr std::uint32_t kRefusal = 8;  // ERROR_NOT_ENOUGH_MEMORY

}  // namespace Platform

}  // namespace Velta::Simulation
