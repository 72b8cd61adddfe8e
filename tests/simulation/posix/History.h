// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <cstdint>
#include <vector>

namespace Velta::Simulation {

/// Long, in virtual time: who still waits when all rest waits for what never came.
inline constexpr DWORD kLong = 3'600'000;

enum class ObjectKind : std::uint8_t {
  Manual,
  Automatic,
  Later,   // an automatic event, once a call makes it
  Thread,  // that does nothing and ends
};

/// A call for objects, which stand by their numbers, and what became of it.
struct Call {
  enum class Kind : std::uint8_t { Make, Set, Reset, Close, Wait, ThreadEnd };

  Kind kind;
  std::vector<std::uint32_t> objects;
  DWORD milliseconds = 0;
  DWORD result = WAIT_FAILED;
  std::uint32_t begin = UINT32_MAX;  // moments of the run
  std::uint32_t end = UINT32_MAX;
  std::int64_t since = 0;  // virtual time
};

/// Runs each list of calls on a thread of its own, and asks whether some order of the calls
/// explains all results: a call takes effect at one moment between its begin and its end. That
/// covers lost and doubled signals, the lowest index, closed handles, slots taken twice, and waits
/// that sleep on although they could end.
void RunCalls(const std::vector<ObjectKind>& objects, std::vector<std::vector<Call>> threads);

/// Fails the run when a slot of the platform's table is not free again, a list not empty, or the
/// lock held. Then makes the table as it is when a process starts, so that every run finds the
/// same.
void CheckAndResetTable() noexcept;

}  // namespace Velta::Simulation
