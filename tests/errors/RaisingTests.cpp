// SPDX-License-Identifier: MIT
#include "tests/support/LoggedEvents.h"
#include "tests/support/Raises.h"
#include "velta/errors/GenericGuard.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/errors/internal/ChainLimit.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"

#include <clocale>
#include <functional>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;
using Velta::Libraries::GenericGuard;

TEST(MFlowPoint, TheCodeLeavesOutWhatIsNullOrEmptyWithItsSeparator) {
  const struct {
    const wchar_t* className;
    const wchar_t* operation;
    const wchar_t* error;
    const wchar_t* code;
  } cases[] = {{L"Class", L"Operation", L"Error", L"Class.Operation:Error"},
               {L"", L"Operation", L"Error", L"Operation:Error"},
               {nullptr, nullptr, L"Error", L"Error"},
               {L"Class", L"", L"Error", L"Class:Error"},
               {L"Class", L"Operation", nullptr, L"Class.Operation"}};
  for (const auto& [className, operation, error, code] : cases) {
    EXPECT_EQ(MFlowPoint(className, operation).MakeRootError(error).GetCode(), code);
  }
}

TEST(MFlowPoint, EveryFormOfRaisingThrowsOneErrorWithItsParametersAndLogsIt) {
  static const wchar_t className[] = L"RaisingTests";
  const Velta::Logging::ClassNameRegistration registration(className);
  MFlowPoint point(className, L"Raise");
  const auto expectRaised = [](const wchar_t* code, auto parameters,
                               const std::function<void()>& raise) {
    EXPECT_THAT(raise, RaisesWith(MString(L"RaisingTests.Raise:") + code, parameters));
  };
  const std::runtime_error cause("why");
  const std::string text = "x";
  EXPECT_THAT(
      LogDuring([&] {
        expectRaised(L"Plain", ElementsAre(), [&] { point.Raise(L"Plain"); });
        expectRaised(L"Number", ElementsAre(Pair(L"status", L"4000000000")),
                     [&] { point.Raise(L"Number", L"status", 4000000000u); });
        expectRaised(L"Text", ElementsAre(Pair(L"name", L"x")),
                     [&] { point.Raise(L"Text", L"name", text); });
        expectRaised(L"Converted", ElementsAre(Pair(L"errorMessage", L"why"), Pair(L"name", L"x")),
                     [&] { point.RaiseFromException(cause, L"Converted", L"name", text); });
      }),
      Logged({"Root_error Plain RaisingTests.Raise", "Root_error Number RaisingTests.Raise",
              "Root_error Text RaisingTests.Raise", "Cascade_error Converted RaisingTests.Raise"}));
}

TEST(MFlowPoint, ABadByteInAMessageOfTheRuntimeCostsOnlyItself) {
#if defined(_WIN32)
  const char* const utf8 = ".UTF-8";
#else
  const char* const utf8 = "C.UTF-8";
#endif
  ASSERT_NE(std::setlocale(LC_CTYPE, utf8), nullptr);
  MFlowPoint point(L"Class", L"Read");
  EXPECT_THAT(
      [&] {
        point.RaiseFromException(std::runtime_error("r\xC3\xA4t: \xE4\xC3"), L"Bad", L"name", "x");
      },
      RaisesWith(L"Class.Read:Bad",
                 ElementsAre(Pair(L"errorMessage", L"r\u00E4t: ??"), Pair(L"name", L"x"))));
  std::setlocale(LC_CTYPE, "C");
}

TEST(MException, AChainAtItsListsLimitRefusesToGrow) {
  EXPECT_NO_THROW(Velta::Errors::RequireRoomInChain(4, 5));
  try {
    Velta::Errors::RequireRoomInChain(5, 5);
    FAIL() << "grew";
  } catch (const std::length_error& error) {
    EXPECT_STREQ(error.what(), "list<T> too long");
  }
}

TEST(GenericGuard, RunsItsExitActionOnceUnlessDismissedOrNotEntered) {
  int exits = 0;
  const std::function<void()> count = [&] { ++exits; };
  {
    GenericGuard guard(count);
    guard.Run();
    EXPECT_EQ(exits, 1);
  }
  {
    GenericGuard guard(count);
    guard.Dismiss();
    const GenericGuard empty{std::function<void()>()};
    EXPECT_THROW(GenericGuard([] { throw MException(MError(L"entry")); }, count), MException);
  }
  EXPECT_EQ(exits, 1);
  {
    const GenericGuard both(count, count);
  }
  EXPECT_EQ(exits, 3) << "at once, and in the end";
}

TEST(GenericGuard, AnMExceptionFromTheExitIsLoggedInTheDestructorAndThrownFromRun) {
  const std::function<void()> fail = [] { throw MException(MError(L"exit")); };
  EXPECT_THAT(LogDuring([&] { const GenericGuard guard(fail); }),
              Logged({"Destruction GenericGuard.~GenericGuard",
                      "Dismissed_error (unknown) GenericGuard.~GenericGuard"}));
  {
    GenericGuard guard(fail);
    EXPECT_THAT([&] { guard.Run(); }, Raises(L"exit"));
  }
}

}  // namespace
