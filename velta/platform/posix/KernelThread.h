// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace Velta::Posix {

/// The kernel's id of the calling thread, as shown by ps and gdb.
std::uint32_t KernelThreadId() noexcept;

/// Starts a thread that nobody joins.
///
/// @param stackSize  in bytes, raised to what the system needs; 0 for its default
/// @return 0, or why there is none: a value of `errno`
int StartKernelThread(void* (*entry)(void*), void* argument, std::size_t stackSize) noexcept;

}  // namespace Velta::Posix
