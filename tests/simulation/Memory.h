// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// What a run does with memory from `new`. Freed blocks are filled and kept until the run ends, so
/// whoever still writes to them is found, and whoever reads them gets nothing sensible.
///
/// In builds with the address sanitizer that does its own work, and nothing is counted.
namespace Velta::Simulation::Memory {

void BeginRun() noexcept;

/// Fails the run, which goes on, when memory is freed twice.
/// @return how many blocks the run has left over; -1 when freed memory was written
std::int64_t EndRun() noexcept;

}  // namespace Velta::Simulation::Memory
