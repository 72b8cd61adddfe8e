// SPDX-License-Identifier: MIT
#pragma once

/// Ends the process with a message when a condition that must hold inside does not.
///
/// In builds with `VELTA_ASSERTIONS` only: those of the sanitizers, the fuzzers and clang. In all
/// others, and so in what is handed out, the condition is compiled and not evaluated.
///
/// For what no caller can bring about: the room that was made before, the order of steps, the
/// state that a lock guards. What a caller or an input does wrong is an error with a name.
#if defined(VELTA_ASSERTIONS)

namespace Velta::Platform {

[[noreturn]] void FailAssertion(const char* condition, const char* file, int line) noexcept;

}  // namespace Velta::Platform

#define VELTA_ASSERT(condition)       \
  ((condition) ? static_cast<void>(0) \
               : Velta::Platform::FailAssertion(#condition, __FILE__, __LINE__))

#else

#define VELTA_ASSERT(condition) static_cast<void>(sizeof(!(condition)))

#endif
