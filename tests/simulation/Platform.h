// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// The simulated platform as scenarios see it, beside the calls themselves.
namespace Velta::Simulation::Platform {

/// To be called at the begin and at the end of a scenario. The latter fails the run when a handle
/// is still open.
void BeginRun() noexcept;
void EndRun() noexcept;

/// Threads that `_beginthreadex` has made and that have not ended.
std::uint32_t LiveThreads() noexcept;
/// A handle's number, the n-th of its run, which reports show. Larger values are no handles.
inline constexpr std::uintptr_t kHandleLimit = 0x1000000;
std::size_t NumberOf(std::uintptr_t handle) noexcept;

/// Handles that have not been closed: of threads, of all.
std::uint32_t OpenThreads() noexcept;
std::uint32_t OpenHandles() noexcept;

/// The calling thread gets so many more events or threads, then none: `kRefusal` is why.
void Grant(std::int32_t count) noexcept;
inline constexpr std::int32_t kUnlimited = -1;
inline constexpr std::uint32_t kRefusal = 8;  // ERROR_NOT_ENOUGH_MEMORY

}  // namespace Velta::Simulation::Platform
