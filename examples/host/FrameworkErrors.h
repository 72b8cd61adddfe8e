// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <exception>
#include <new>
#include <string>
#include <system_error>
#include <typeinfo>

namespace host {

/// Runs `work`, and throws an `MException` in place of whatever other exception it throws.
///
/// For code that a thread of the framework calls: there an `MException` goes back to the caller or
/// is logged, and any other exception ends the process. An exception of the runtime becomes the
/// error "UnexpectedException" of `point`.
template <class Work>
void TranslateExceptions(MFlowPoint& point, Work work) {
  try {
    work();
  } catch (const MException&) {
    throw;
  } catch (const std::bad_alloc&) {
    MErrorOutOfMemory::Throw();
  } catch (const std::exception& cause) {
    point.RaiseFromException(cause, L"UnexpectedException", L"type", typeid(cause).name());
  }
}

/// Throws the chain of `cause` with `error`, which it led to, as its last entry.
[[noreturn]] inline void ThrowCausedBy(const MException& cause, const MError& error) {
  MException chain(cause);
  chain.AddError(error);
  throw MException(chain);
}

/// Throws the root error `name` for an `errno` value, with the parameters "errno" and
/// "errorMessage".
[[noreturn]] void RaiseErrno(MFlowPoint& point, const wchar_t* name, int errorNumber);

/// The same for an error code of the standard library, with "errorCode" and "errorMessage".
[[noreturn]] void RaiseErrorCode(MFlowPoint& point, const wchar_t* name,
                                 const std::error_code& code);

/// The chain as lines, the latest error first, each with its code and its parameters.
std::string Describe(const MException& exception);

}  // namespace host
