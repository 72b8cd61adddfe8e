// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace Velta::Posix {

/// What threads share without a lock in this folder.
///
/// The tests that try schedules put another header in place of this one: with a type that lets
/// other threads go first before each operation.
template <class T>
using Atomic = std::atomic<T>;

}  // namespace Velta::Posix
