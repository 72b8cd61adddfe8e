// SPDX-License-Identifier: MIT
#pragma once

/// The objects of the platform between two runs.
namespace Velta::Simulation::Objects {

/// Makes the table as it is when a process starts, so that every run finds the same.
void Reset() noexcept;

/// Fails the run when a slot is not free again, a list not empty, or the lock held.
void CheckAtRest() noexcept;

}  // namespace Velta::Simulation::Objects
