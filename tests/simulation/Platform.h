// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// The simulated platform as scenarios see it, beside the calls themselves.
namespace Velta::Simulation::Platform {

/// To be called at the begin and at the end of a scenario. The latter fails the run when a handle
/// is still open.
void BeginRun() noexcept;
void EndRun() noexcept;

/// Threads that `_beginthreadex` has made and that have not ended.
std::uint32_t LiveThreads() noexcept;
/// Handles of threads that have not been closed.
std::uint32_t OpenThreads() noexcept;

/// The calling thread gets so many more events or threads, then none: `kRefusal` is why.
void Grant(std::int32_t count) noexcept;
inline constexpr std::int32_t kUnlimited = -1;
inline constexpr std::uint32_t kRefusal = 8;  // ERROR_NOT_ENOUGH_MEMORY

}  // namespace Velta::Simulation::Platform
