// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/Win32.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <pthread.h>
#endif

// Stand-ins: a flow point never looks into the errors that it dismisses.
class MError {};
class MException {};

namespace {

const wchar_t ClassName[] = L"MJob";
const Velta::Logging::ClassNameRegistration registration(ClassName);

TEST(MFlowPoint, EveryOperationLogsItsKindWithTheNamesTheObjectAndTheLine) {
  int subject = 0;
  MFlowPoint point(ClassName, L"Run");
  MDiagnosticsRegistry::Instance()->RegisterStateName(ClassName, 2, L"Running");

  std::int32_t lineOfCall = 0;
  const std::vector<LoggedEvent> events = LogDuring([&] {
    point.LogConstruction();
    point.SetObject(&subject);
    point.SetLine(49);
    point.LogDestruction();
    point.LogDismissedError(MError());
    point.LogDismissedError(MException());
    point.LogStateChange(2, 0);
    point.LogTimingPoint(3, 4);
    const MFlowScope outer = point.OpenScope(5, 6);
    const MFlowScope inner = point.OpenScope();
    point.SetObject(nullptr);
    lineOfCall = __LINE__ + 1;
    point.At(&subject).LogDestruction();
    point.SetObject(nullptr);
  });
  const struct {
    const char* text;
    std::int32_t value1;
    std::int32_t value2;
  } expected[] = {{"Construction MJob.Run", 0, -1},
                  {"Destruction MJob.Run", 0, 49},
                  {"Dismissed_error (unknown) MJob.Run", 0, 49},
                  {"Dismissed_error (unknown) MJob.Run", 0, 49},
                  {"State_change to Running MJob.Run", 2, 0},
                  {"Timing_point (3, 4) MJob.Run", 3, 4},
                  {"Scope_push MJob.Run", 5, 6},
                  {"Scope_push MJob.Run", 0, 49},
                  {"Destruction MJob.Run", 0, lineOfCall},
                  {"Scope_pop MJob.Run", 0, 49},
                  {"Scope_pop MJob.Run", 5, 6}};
  ASSERT_EQ(events.size(), std::size(expected));
  EXPECT_EQ(events[0].object, 0U);  // until it is set
  for (std::size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i].Text(), expected[i].text);
    EXPECT_EQ(events[i].value1, expected[i].value1) << i;
    EXPECT_EQ(events[i].value2, expected[i].value2) << i;
    EXPECT_TRUE(i == 0 || events[i].Concerns(&subject)) << i;
    EXPECT_EQ(events[i].threadId, ::GetCurrentThreadId());
  }
}

TEST(MFlowScope, EndsOnceEarlyOrByUnwinding) {
  static MFlowPoint point(ClassName, L"Flush");
  const std::vector<LoggedEvent> events = LogDuring([] {
    MFlowScope scope = point.OpenScope();
    scope.Close();
    scope.Close();
    try {
      const MFlowScope unwound = point.OpenScope();
      throw std::runtime_error("unwinds");
    } catch (const std::runtime_error&) {
      point.LogDestruction();
    }
  });
  EXPECT_THAT(events,
              Logged({"Scope_push MJob.Flush", "Scope_pop MJob.Flush", "Scope_push MJob.Flush",
                      "Scope_pop MJob.Flush", "Destruction MJob.Flush"}));
}

#if defined(_WIN32)
std::string announced;

// A debugger's part: sees the exception before the framework swallows it.
LONG CALLBACK WatchThreadNaming(EXCEPTION_POINTERS* pointers) {
  const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
  const ULONG_PTR* const words = record.ExceptionInformation;
  if (record.ExceptionCode == 0x406D1388 && record.NumberParameters == 3 &&
      static_cast<DWORD>(words[0]) == 0x1000 && words[2] == ::GetCurrentThreadId()) {
    announced = reinterpret_cast<const char*>(words[1]);
  }
  return EXCEPTION_CONTINUE_SEARCH;
}
#endif

TEST(MDiagnosticsRegistry, ThreadNameReachesTheLogAndTheSystem) {
  static MFlowPoint point(ClassName, L"Work");
  const std::vector<LoggedEvent> events = LogDuring([] {
    std::thread([] {
#if defined(_WIN32)
      void* const watch = ::AddVectoredExceptionHandler(1, WatchThreadNaming);
#endif
      MDiagnosticsRegistry::Instance()->RegisterThreadName(L"Worker \x141 out of two");
#if defined(_WIN32)
      ::RemoveVectoredExceptionHandler(watch);
      EXPECT_EQ(announced, "Worker A out of two");
#else
      char name[16] = {};
      ::pthread_getname_np(::pthread_self(), name, sizeof name);
      EXPECT_STREQ(name, "Worker A out of");  // what the system keeps
#endif
      point.LogTimingPoint(1, 2);
    }).join();
  });
  ASSERT_EQ(events.size(), 1U);
  EXPECT_NE(events[0].threadId, ::GetCurrentThreadId());
  EXPECT_EQ(events[0].threadName, "Worker A out of two");
}

}  // namespace
