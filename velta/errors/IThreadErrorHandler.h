// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/ICrashHandler.h"
#include "velta/errors/ISpontaneousErrorHandler.h"

/// What an engine thread is given to report to.
///
/// Threads: called on the failing thread, so it must be safe against all other threads of its
/// owner.
class IThreadErrorHandler : public ISpontaneousErrorHandler, public ICrashHandler {
 protected:
  ~IThreadErrorHandler() = default;
};
