// SPDX-License-Identifier: MIT
#pragma once

#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MExceptionHolder.h"

#include <memory>
#include <utility>

namespace host {

/// Has `processor` run a `Command` made of an outcome and `arguments`, and waits for it.
///
/// What the arguments refer to must outlive the processor: after a failed wait the command may
/// still be queued. Errors: what the command failed with, and those of
/// `MCommandProcessor::ExecuteSynchronously`.
template <class Command, class... Arguments>
void Submit(MCommandProcessor& processor, Arguments&&... arguments) {
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command =
      std::make_unique<Command>(outcome, std::forward<Arguments>(arguments)...);
  processor.ExecuteSynchronously(command);
  outcome.ThrowIfError();
}

}  // namespace host
