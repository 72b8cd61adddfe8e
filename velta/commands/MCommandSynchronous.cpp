// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandSynchronous.h"

#include "velta/platform/internal/Win32.h"

#include <utility>

MCommandSynchronous::MCommandSynchronous(MExceptionHolder resultHolder) noexcept
    : resultHolder_(std::move(resultHolder)) {}

MCommandSynchronous::~MCommandSynchronous() = default;

void MCommandSynchronous::ExecuteGenericCommand() {
  resultHolder_.Reset();  // what an earlier command left is not this one's outcome
  try {
    Execute();
  } catch (MException& exception) {
    resultHolder_.Store(exception);
  }
  ::SetEvent(completionEvent_);
}
