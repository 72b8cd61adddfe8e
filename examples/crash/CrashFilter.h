// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/ICrashHandler.h"

/// Passes what ends the process to `handler`: an exception that nobody handles, a fault such as a
/// read through a null pointer, a call of `std::abort`.
///
/// The handler runs on the thread that failed, whose locks and heap may be in any state, and on
/// several at once when several fail. Its argument is the exception's code (on Windows, 0xC0000005
/// for a read or write that is refused) or the signal's number. When it returns, on whichever
/// thread first, the process ends with that code, or by that signal.
///
/// One handler at a time; it must live as long as the process.
void InstallCrashFilter(ICrashHandler& handler) noexcept;
