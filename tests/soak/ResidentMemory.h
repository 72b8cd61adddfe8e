// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// What the process holds of the machine's memory now, in bytes.
std::uint64_t ResidentMemory();
