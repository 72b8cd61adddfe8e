// SPDX-License-Identifier: MIT
#include "velta/commands/MCommandSynchronous.h"

#include "velta/platform/internal/Win32.h"

#include <utility>

MCommandSynchronous::MCommandSynchronous(MExceptionHolder holder) noexcept
    : resultHolder(std::move(holder)) {}

MCommandSynchronous::~MCommandSynchronous() = default;

void MCommandSynchronous::ExecuteGenericCommand() {
  resultHolder.Reset();  // what an earlier command left is not this one's outcome
  try {
    Execute();
  } catch (MException& exception) {
    resultHolder.Store(exception);
  }
  ::SetEvent(completionEvent);
}
