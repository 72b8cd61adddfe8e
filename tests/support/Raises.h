// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MException.h"
#include "velta/text/MString.h"

#include <gmock/gmock.h>

/// Matches an exception that holds exactly one error, with this code and these parameters.
MATCHER_P2(HoldsOneError, code, parameters, "holds the error " + testing::PrintToString(code)) {
  if (arg.GetErrorCount() != 1 || arg.GetError(0) == nullptr) {
    *result_listener << "which holds " << arg.GetErrorCount() << " entries";
    return false;
  }
  const MError& error = *arg.GetError(0);
  *result_listener << "which holds " << testing::PrintToString(error.GetCode()) << " ";
  return error.GetCode() == code &&
         testing::ExplainMatchResult(parameters, error.GetParameters(), result_listener);
}

/// Matches a callable that throws an `MException` of one error:
/// `EXPECT_THAT([&] { ... }, RaisesWith(code, ElementsAre(Pair(L"status", L"128"))))`.
template <class ParametersMatcher>
auto RaisesWith(const MString& code, ParametersMatcher parameters) {
  return testing::Throws<MException>(HoldsOneError(code, parameters));
}

/// The same for an error without parameters.
inline auto Raises(const MString& code) { return RaisesWith(code, testing::IsEmpty()); }
