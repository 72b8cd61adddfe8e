// SPDX-License-Identifier: MIT
#include "tests/support/Engine.h"
#include "tests/support/LoggedEvents.h"
#include "tests/support/Raises.h"
#include "tests/support/ScriptedWaits.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ContainerEq;
using testing::ElementsAre;
using testing::Pair;

class EngineThread : public testing::Test {
 protected:
  const Watchdog watchdog{"an engine thread"};
  const ScriptedWaits waits;
  const TestEvent request{false}, arrived{false}, release{false};
};

// An end of a wait, and the error that tells it.
struct End {
  DWORD result;
  const wchar_t* error;
  std::map<MString, MString> parameters;

  [[nodiscard]] WaitScript Script() const { return ScriptedWaits::EndingWith(result, 6); }
  [[nodiscard]] auto RaisedBy(const wchar_t* operation) const {
    return RaisesWith(MString(L"MEngineThread.") + operation + L":" + error,
                      ContainerEq(parameters));
  }
};

End Abandoned(DWORD result) {
  return {result, L"Abandoned", {{L"status", std::to_wstring(result)}}};
}
End Unexpected(DWORD result) {
  return {result, L"Unexpected", {{L"status", std::to_wstring(result)}}};
}
const End kFailed = {WAIT_FAILED, L"WaitFailed", {{L"winErrorCode", L"6"}}};

TEST_F(EngineThread, RunsStopsAndRunsAgainWithTheSameEvents) {
  Engine engine;
  int flushes = 0;
  int stops = 0;
  engine.On(request, [&] { arrived.Set(); });
  engine.flush = [&] { ++flushes; };
  engine.stop = [&] { ++stops; };
  engine.Flush();  // nothing to do yet
  engine.Stop();
  engine.ForceStop();
  EXPECT_EQ(flushes, 0);
  for (int run = 1; run <= 2; ++run) {
    EXPECT_FALSE(engine.IsRunning());
    engine.Start();
    EXPECT_TRUE(engine.IsRunning());
    EXPECT_FALSE(engine.IsStopRequested());
    EXPECT_THAT([&] { engine.Start(); }, Raises(L"MEngineThread.Start:AlreadyRunning"));
    request.Set();
    arrived.Wait();
    engine.Flush();
    EXPECT_EQ(flushes, run);
    engine.Stop();
    EXPECT_EQ(stops, run);
    EXPECT_TRUE(engine.IsStopRequested());
    engine.Stop();
  }
}

TEST_F(EngineThread, AFailedStartIsInactiveAgainAndAFailedFlushGoesOnRunning) {
  const End ends[] = {Abandoned(128), Abandoned(129),  Unexpected(127), Unexpected(130),
                      Unexpected(2),  Unexpected(258), kFailed};
  for (const End& end : ends) {
    Engine engine;
    int flushes = 0;
    engine.flush = [&] { ++flushes; };
    engine.body = [&] {
      engine.SignalThreadStarted();
      arrived.Set();
    };
    ScriptedWaits::nextAny = end.Script();
    EXPECT_THAT([&] { engine.Start(); }, end.RaisedBy(L"Start"));
    EXPECT_FALSE(engine.IsRunning());
    arrived.Wait();

    // What came too late for one call is no answer to a later one.
    engine.body = [] {};
    EXPECT_THAT([&] { engine.Start(); }, Raises(L"MEngineThread.Start:ThreadExitedUnexpectedly"));
    engine.body = [&engine] { engine.Loop(); };
    engine.Start();
    ScriptedWaits::nextAny = end.Script();
    EXPECT_THAT([&] { engine.Flush(); }, end.RaisedBy(L"Flush"));
    EXPECT_TRUE(engine.IsRunning());
    engine.Stop();
    EXPECT_EQ(flushes, 1);
    engine.Start();
    engine.Flush();
    EXPECT_EQ(flushes, 2);
  }
}

// For the thread sanitizer: nothing else orders the two threads.
TEST_F(EngineThread, WhoSeesThatItHasStoppedSeesWhatItWrote) {
  Engine engine;
  int written = 0;
  engine.stop = [&] { written = 1; };
  engine.Start();
  std::thread stopper([&] { engine.Stop(); });
  while (engine.IsRunning()) {
    std::this_thread::yield();
  }
  EXPECT_EQ(written, 1);
  stopper.join();
}

TEST_F(EngineThread, ARefusedThreadIsAnErrorWithErrno) {
  Engine engine;
  {
    const SystemCallOverride refuse(
        Velta::Platform::systemCalls.beginThread,
        +[](unsigned (*)(void*), void*, unsigned*) -> std::uintptr_t {
          errno = 11;
          return 0;
        });
    EXPECT_THAT([&] { engine.Start(); },
                RaisesWith(L"MEngineThread.Start:BeginThread", ElementsAre(Pair(L"errno", L"11"))));
  }
  engine.Start();
}

TEST_F(EngineThread, AFailedStopStaysStoppingAndAForcedOneEndsInactive) {
  const End abandoned = {128, L"Abandoned", {}};
  for (const End& end : {abandoned, Unexpected(129), Unexpected(1), kFailed}) {
    WaitScript script = end.Script();
    script.waitsBefore = true;
    Engine engine;
    engine.Start();
    ScriptedWaits::nextSingle = script;
    EXPECT_THAT([&] { engine.Stop(); }, end.RaisedBy(L"Stop"));
    EXPECT_TRUE(engine.IsRunning());
    engine.Stop();
    EXPECT_THAT([&] { engine.Start(); }, Raises(L"MEngineThread.Start:AlreadyRunning"));

    Engine forced;
    forced.Start();
    ScriptedWaits::nextSingle = script;
    EXPECT_THAT(LogDuring([&] { forced.ForceStop(); }),
                LoggedInOrder(std::vector<std::string>{
                    "Timing_point (0, 0) MEngineThread.ForceStop",
                    "Dismissed_error (unknown) MEngineThread.ForceStop",
                    "State_change to Inactive MEngineThread.ChangeState"}));
    EXPECT_FALSE(forced.IsRunning());
    forced.Start();
  }
}

TEST_F(EngineThread, ARoundOfTheLoopTellsEveryEndOfItsWait) {
  const End ends[] = {Abandoned(128),  Abandoned(130), Unexpected(127),
                      Unexpected(131), Unexpected(4),  kFailed};
  for (const bool windowMessages : {false, true}) {
    Engine engine(nullptr, windowMessages);
    const auto round = [&] { static_cast<void>(engine.WaitForEvents(INFINITE)); };
    for (const End& end : ends) {
      ScriptedWaits::nextAny = end.Script();
      EXPECT_THAT(round, end.RaisedBy(L"WaitForEvents"));
    }
    EXPECT_TRUE(engine.WaitForEvents(0));  // making it has signalled the restart event
    EXPECT_FALSE(engine.WaitForEvents(0));
    const End input = Unexpected(3);  // one after the built-in events
    ScriptedWaits::nextAny = input.Script();
    if (windowMessages) {
      EXPECT_FALSE(engine.WaitForEvents(INFINITE));
    } else {
      EXPECT_THAT(round, input.RaisedBy(L"WaitForEvents"));
    }
  }
}

TEST_F(EngineThread, TheSixtyFifthEventIsRefusedAndTheOthersStay) {
  for (const bool windowMessages : {false, true}) {
    Engine engine(nullptr, windowMessages);
    int calls = 0;
    const auto callsOfLast = [&] {
      calls = 0;
      request.Set();
      while (engine.WaitForEvents(0)) {
      }
      return calls;
    };
    for (int i = 3; i < 62; ++i) {
      engine.On(release, [] { ADD_FAILURE(); });
    }
    engine.On(request, [&] { ++calls; });
    EXPECT_EQ(callsOfLast(), 1);  // 63 events, either way

    engine.On(release, [] { ADD_FAILURE(); });
    EXPECT_THAT([&] { engine.On(request, [] { ADD_FAILURE(); }); },
                Raises(L"MEngineThread.AddEvent:TooManyWaitableEvents"));
    if (windowMessages) {  // input takes the place of the 64th
      EXPECT_THAT(callsOfLast, RaisesWith(L"MEngineThread.WaitForEvents:WaitFailed",
                                          ElementsAre(Pair(L"winErrorCode", L"87"))));
    } else {
      EXPECT_EQ(callsOfLast(), 1);
    }
  }
}

// And no control operation on its own thread waits for that, whoever else waits for it.
TEST_F(EngineThread, AFlushComesBeforeAStopAndBothBeforeOtherEvents) {
  Engine engine;
  std::string order;
  engine.On(request, [&] {
    EXPECT_THAT([&] { engine.Stop(); }, Raises(L"MEngineThread.Stop:CannotStopSelf"));
    arrived.Set();
    release.Wait();
    engine.Stop();  // under way already
    EXPECT_THAT([&] { engine.Flush(); }, Raises(L"MEngineThread.Flush:CannotFlushSelf"));
    EXPECT_THAT([&] { engine.Start(); }, Raises(L"MEngineThread.Start:AlreadyRunning"));
  });
  engine.On(arrived, [&] { order += " other"; });
  engine.flush = [&] { order += " flush"; };
  engine.stop = [&] { order += " stop"; };
  engine.Start();
  request.Set();
  arrived.Wait();
  arrived.Set();
  std::thread stopper = ScriptedWaits::UntilItWaitsForOne([&] { engine.Stop(); });
  std::thread flusher = ScriptedWaits::UntilItWaitsForAny([&] { engine.Flush(); });
  release.Set();
  flusher.join();
  stopper.join();
  EXPECT_EQ(order, " flush stop");
}

TEST_F(EngineThread, AnExceptionEndsTheThreadAndIsReportedOnItOrDropped) {
  enum class Where { kBeforeItStarted, kInItsBody, kInAFlush };
  for (const Where where : {Where::kBeforeItStarted, Where::kInItsBody, Where::kInAFlush}) {
    for (const bool handled : {true, false}) {
      ErrorRecorder recorder;
      Engine engine(handled ? &recorder : nullptr);
      DWORD thread = 0;
      engine.flush = [&] {
        thread = ::GetCurrentThreadId();
        throw ExceptionOf(L"failure");
      };
      if (where != Where::kInAFlush) {
        engine.body = [&] {
          if (where == Where::kInItsBody) {
            engine.SignalThreadStarted();
          }
          engine.flush();
        };
      }
      if (where == Where::kBeforeItStarted) {
        EXPECT_THAT([&] { engine.Start(); },
                    Raises(L"MEngineThread.Start:ThreadExitedUnexpectedly"));
      } else {
        engine.Start();
        EXPECT_THAT([&] { engine.Flush(); },
                    Raises(L"MEngineThread.Flush:ThreadExitedUnexpectedly"));
        EXPECT_TRUE(engine.IsRunning());
        engine.Stop();
      }
      EXPECT_FALSE(engine.IsRunning());
      EXPECT_EQ(recorder.threadId, handled ? thread : 0);
      if (handled) {
        EXPECT_THAT(*recorder.error, HoldsOneError(MString(L"failure"), testing::IsEmpty()));
      }

      // A request or an answer that the dead thread left is not the next one's.
      int flushes = 0;
      engine.body = [&engine] { engine.Loop(); };
      engine.flush = [&] { ++flushes; };
      engine.On(request, [&] { arrived.Set(); });
      engine.Start();
      request.Set();
      arrived.Wait();
      EXPECT_EQ(flushes, 0);
      engine.Flush();
      EXPECT_EQ(flushes, 1);
    }
  }
}

TEST_F(EngineThread, LogsItsLifeByName) {
  Engine engine;
  std::array<std::vector<LoggedEvent>, 2> sides;
  for (const LoggedEvent& event : Concerning(&engine, LogDuring([&] {
         engine.Start();
         engine.Flush();
         EXPECT_ANY_THROW(engine.Start());
         engine.Stop();
       }))) {
    sides[event.threadId == ::GetCurrentThreadId() ? 0 : 1].push_back(event);
  }
  EXPECT_THAT(
      sides[0],
      Logged(
          {"Scope_push MEngineThread.Start", "State_change to Starting MEngineThread.ChangeState",
           "State_change to Running MEngineThread.ChangeState", "Scope_pop MEngineThread.Start",
           "Scope_push MEngineThread.Flush", "Scope_pop MEngineThread.Flush",
           "Scope_push MEngineThread.Start", "Root_error AlreadyRunning MEngineThread.Start",
           "Scope_pop MEngineThread.Start", "Scope_push MEngineThread.Stop",
           "State_change to Stopping MEngineThread.ChangeState",
           "State_change to Inactive MEngineThread.ChangeState", "Scope_pop MEngineThread.Stop"}));
  EXPECT_THAT(
      sides[1],
      Logged({"Timing_point (0, 0) MEngineThread.SignalThreadStarted",
              "Timing_point (0, 0) MEngineThread.WaitForEvents",
              "Scope_push MEngineThread.OnFlushWrapper", "Scope_pop MEngineThread.OnFlushWrapper",
              "Timing_point (0, 0) MEngineThread.WaitForEvents",
              "Scope_push MEngineThread.OnStopWrapper", "Scope_pop MEngineThread.OnStopWrapper"}));
}

TEST_F(EngineThread, ItsDestructorStopsWhatADerivedOneLeftRunning) {
  class Forgetful final : public MEngineThread {
   public:
    Forgetful() : MEngineThread(nullptr, false) {}

   private:
    void ThreadFunction() override {  // uses nothing of this class once it has begun
      SignalThreadStarted();
      while (!IsStopRequested()) {
        static_cast<void>(WaitForEvents(INFINITE));
      }
    }
  };
  EXPECT_THAT(LogDuring([] {
                Forgetful engine;
                engine.Start();
              }),
              LoggedInOrder(
                  std::vector<std::string>{"Construction MEngineThread.MEngineThread",
                                           "State_change to Running MEngineThread.ChangeState",
                                           "Destruction MEngineThread.~MEngineThread",
                                           "State_change to Inactive MEngineThread.ChangeState"}));
}

}  // namespace
