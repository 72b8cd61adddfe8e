// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Velta::Platform {

/// Tells the platform's tools the name of the calling thread.
///
/// @param threadId  id of the calling thread; a debugger on Windows is told it with the name
/// @param name      null-terminated; a null pointer is ignored
///
/// Windows: raises the documented exception 0x406D1388, which an attached debugger reads and which
/// is swallowed here. Linux: names the thread for ps, top and gdb; the kernel keeps 15 bytes.
/// Never throws, never fails visibly.
void AnnounceThreadName(std::uint32_t threadId, const char* name) noexcept;

}  // namespace Velta::Platform
