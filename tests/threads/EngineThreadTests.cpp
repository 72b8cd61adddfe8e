// SPDX-License-Identifier: MIT
#include "tests/support/LoggedEvents.h"
#include "tests/support/Raises.h"
#include "tests/support/ScriptedWaits.h"
#include "tests/support/StressScale.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/threads/MEngineThread.h"
#include "velta/threads/MMutex.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class Engine : public MEngineThread {
 public:
  explicit Engine(IThreadErrorHandler* handler = nullptr, bool windowMessages = false)
      : MEngineThread(handler, windowMessages) {}
  ~Engine() override { ForceStop(); }

  using MEngineThread::AddEvent;
  using MEngineThread::SignalThreadStarted;
  using MEngineThread::WaitForEvents;

  void On(HANDLE event, std::function<void()> action) {
    AddEvent(event, new Callback(std::move(action)));
  }

  // Until a wait has seen the stop: the request alone may come while something else is served.
  void Loop() {
    stopSeen = false;
    SignalThreadStarted();
    while (!stopSeen) static_cast<void>(WaitForEvents(INFINITE));
  }

  std::function<void()> body = [this] { Loop(); };
  std::function<void()> flush = [] {};
  std::function<void()> stop = [] {};

 private:
  void ThreadFunction() override { body(); }
  void OnFlush() override { flush(); }
  void OnStop() override {
    stopSeen = true;
    stop();
  }

  bool stopSeen = false;
};

class EngineThread : public testing::Test {
 protected:
  const Watchdog watchdog{"an engine thread"};
  const ScriptedWaits waits;
};

// The ends of a wait for two handles that `Start` and `Flush` do not expect.
struct BadEnd {
  DWORD result;
  DWORD lastError;
  const wchar_t* error;
  const wchar_t* parameter;
  const wchar_t* value;
};
const BadEnd kBadEndsForTwo[] = {{128, 0, L"Abandoned", L"status", L"128"},
                                 {129, 0, L"Abandoned", L"status", L"129"},
                                 {WAIT_FAILED, 6, L"WaitFailed", L"winErrorCode", L"6"},
                                 {2, 0, L"Unexpected", L"status", L"2"},
                                 {127, 0, L"Unexpected", L"status", L"127"},
                                 {130, 0, L"Unexpected", L"status", L"130"},
                                 {WAIT_TIMEOUT, 0, L"Unexpected", L"status", L"258"}};

MString Code(const wchar_t* operation, const wchar_t* error) {
  return MString(L"MEngineThread.") + operation + L":" + error;
}

HANDLE lastThread = nullptr;

std::uintptr_t RecordThread(unsigned (*entry)(void*), void* argument, unsigned* id) {
  const std::uintptr_t created = ::_beginthreadex(nullptr, 0, entry, argument, 0, id);
  lastThread = reinterpret_cast<HANDLE>(created);
  return created;
}

TEST_F(EngineThread, ControlOfAnInactiveThreadDoesNothing) {
  Engine engine;
  engine.flush = [] { ADD_FAILURE(); };
  engine.Flush();
  engine.Stop();
  engine.ForceStop();
  EXPECT_FALSE(engine.IsRunning());
  EXPECT_FALSE(engine.IsStopRequested());
}

TEST_F(EngineThread, RunsStopsAndRunsAgainWithTheSameEvents) {
  Engine engine;
  const TestEvent request(false);
  const TestEvent answer(false);
  int flushes = 0;
  int stops = 0;
  engine.On(request.Handle(), [&] { answer.Set(); });
  engine.flush = [&] { ++flushes; };
  engine.stop = [&] { ++stops; };
  for (int run = 1; run <= 3; ++run) {
    engine.Start();
    EXPECT_TRUE(engine.IsRunning());
    EXPECT_FALSE(engine.IsStopRequested());
    EXPECT_THAT([&] { engine.Start(); }, Raises(Code(L"Start", L"AlreadyRunning")));
    request.Set();
    answer.Wait();
    engine.Flush();
    EXPECT_EQ(flushes, run);
    engine.Stop();
    EXPECT_EQ(stops, run);
    EXPECT_FALSE(engine.IsRunning());
    EXPECT_TRUE(engine.IsStopRequested());
    engine.Stop();
  }
}

TEST_F(EngineThread, AFailedStartLeavesAnInactiveThreadThatCanBeStarted) {
  const SystemCallOverride record(systemCalls.beginThread, &RecordThread);
  for (const BadEnd& end : kBadEndsForTwo) {
    Engine engine;
    const TestEvent ended;
    engine.body = [&] { ended.Set(); };
    ScriptedWaits::nextAny = ScriptedWaits::EndingWith(end.result, end.lastError);
    EXPECT_THAT([&] { engine.Start(); },
                RaisesWith(Code(L"Start", end.error), ElementsAre(Pair(end.parameter, end.value))));
    EXPECT_FALSE(engine.IsRunning());
    EXPECT_TRUE(IsClosed(lastThread));

    ended.Wait();
    engine.body = [&engine] { engine.Loop(); };
    engine.Start();
    engine.Stop();
    EXPECT_TRUE(IsClosed(lastThread));
  }
}

TEST_F(EngineThread, ABodyThatEndsOrThrowsBeforeItHasStartedFailsTheStart) {
  const SystemCallOverride record(systemCalls.beginThread, &RecordThread);
  ErrorRecorder recorder;
  for (const bool throws : {false, true}) {
    Engine engine(&recorder);
    engine.body = [throws] {
      if (throws) throw ExceptionOf(L"body");
    };
    EXPECT_THAT([&] { engine.Start(); }, Raises(Code(L"Start", L"ThreadExitedUnexpectedly")));
    EXPECT_FALSE(engine.IsRunning());
    EXPECT_TRUE(IsClosed(lastThread));
    EXPECT_EQ(recorder.error.has_value(), throws);
  }
  EXPECT_THAT(*recorder.error, HoldsOneError(MString(L"body"), IsEmpty()));
}

TEST_F(EngineThread, AThreadThatTheSystemRefusesIsToldWithErrno) {
  Engine engine;
  {
    const SystemCallOverride refuse(
        systemCalls.beginThread, +[](unsigned (*)(void*), void*, unsigned*) -> std::uintptr_t {
          errno = EAGAIN;
          return 0;
        });
    EXPECT_THAT([&] { engine.Start(); },
                RaisesWith(Code(L"Start", L"BeginThread"),
                           ElementsAre(Pair(L"errno", std::to_wstring(EAGAIN)))));
    EXPECT_FALSE(engine.IsRunning());
  }
  engine.Start();
}

TEST_F(EngineThread, AFailedFlushLeavesTheThreadRunning) {
  for (const BadEnd& end : kBadEndsForTwo) {
    Engine engine;
    engine.Start();
    ScriptedWaits::nextAny = ScriptedWaits::EndingWith(end.result, end.lastError);
    EXPECT_THAT([&] { engine.Flush(); },
                RaisesWith(Code(L"Flush", end.error), ElementsAre(Pair(end.parameter, end.value))));
    EXPECT_TRUE(engine.IsRunning());
    engine.Stop();
    EXPECT_FALSE(engine.IsRunning());
  }
}

TEST_F(EngineThread, AFailedStopStaysStoppingAndAForcedOneEndsInactive) {
  const BadEnd ends[] = {{128, 0, L"Abandoned", nullptr, nullptr},
                         {129, 0, L"Unexpected", L"status", L"129"},
                         {1, 0, L"Unexpected", L"status", L"1"},
                         {WAIT_FAILED, 5, L"WaitFailed", L"winErrorCode", L"5"}};
  for (const BadEnd& end : ends) {
    WaitScript script = ScriptedWaits::EndingWith(end.result, end.lastError);
    script.waitsBefore = true;
    std::map<MString, MString> parameters;
    if (end.parameter != nullptr) parameters = {{end.parameter, end.value}};

    Engine engine;
    engine.Start();
    ScriptedWaits::nextSingle = script;
    EXPECT_THAT([&] { engine.Stop(); },
                RaisesWith(Code(L"Stop", end.error), testing::ContainerEq(parameters)));
    EXPECT_TRUE(engine.IsRunning());
    engine.Stop();
    EXPECT_THAT([&] { engine.Start(); }, Raises(Code(L"Start", L"AlreadyRunning")));

    Engine forced;
    forced.Start();
    ScriptedWaits::nextSingle = script;
    const std::vector<LoggedEvent> events = LogDuring([&] { forced.ForceStop(); });
    EXPECT_THAT(events, LoggedInOrder(std::vector<std::string>{
                            "Timing_point (0, 0) MEngineThread.ForceStop",
                            "Dismissed_error (unknown) MEngineThread.ForceStop",
                            "State_change to Inactive MEngineThread.ChangeState"}));
    EXPECT_FALSE(forced.IsRunning());
    forced.Start();
    EXPECT_TRUE(forced.IsRunning());
  }
}

TEST_F(EngineThread, ARoundOfTheLoopTellsEveryEndOfItsWait) {
  const BadEnd ends[] = {{128, 0, L"Abandoned", L"status", L"128"},
                         {130, 0, L"Abandoned", L"status", L"130"},
                         {131, 0, L"Unexpected", L"status", L"131"},
                         {127, 0, L"Unexpected", L"status", L"127"},
                         {4, 0, L"Unexpected", L"status", L"4"},
                         {WAIT_FAILED, 87, L"WaitFailed", L"winErrorCode", L"87"}};
  for (const bool windowMessages : {false, true}) {
    Engine engine(nullptr, windowMessages);
    const auto round = [&] { static_cast<void>(engine.WaitForEvents(INFINITE)); };
    for (const BadEnd& end : ends) {
      ScriptedWaits::nextAny = ScriptedWaits::EndingWith(end.result, end.lastError);
      EXPECT_THAT(round, RaisesWith(Code(L"WaitForEvents", end.error),
                                    ElementsAre(Pair(end.parameter, end.value))));
    }
    EXPECT_TRUE(engine.WaitForEvents(0));  // making it has signalled the restart event
    EXPECT_FALSE(engine.WaitForEvents(0));
    ScriptedWaits::nextAny = ScriptedWaits::EndingWith(3);  // one behind the built-in events
    if (windowMessages) {
      EXPECT_FALSE(engine.WaitForEvents(INFINITE));
    } else {
      EXPECT_THAT(round, RaisesWith(Code(L"WaitForEvents", L"Unexpected"),
                                    ElementsAre(Pair(L"status", L"3"))));
    }
  }
}

TEST_F(EngineThread, TheSixtyFifthEventIsRefusedAndTheOthersStay) {
  for (const bool windowMessages : {false, true}) {
    const TestEvent last;
    const TestEvent unset;
    Engine engine(nullptr, windowMessages);
    int calls = 0;
    const auto drain = [&] {
      while (calls == 0 && engine.WaitForEvents(0)) {
      }
    };
    for (int i = 3; i < 62; ++i) engine.On(unset.Handle(), [] { ADD_FAILURE(); });
    engine.On(last.Handle(), [&] { ++calls; });
    last.Set();
    drain();
    EXPECT_EQ(calls, 1);  // 63 events, either way

    engine.On(unset.Handle(), [] { ADD_FAILURE(); });
    EXPECT_THAT([&] { engine.On(last.Handle(), [] { ADD_FAILURE(); }); },
                Raises(Code(L"AddEvent", L"TooManyWaitableEvents")));
    calls = 0;
    if (windowMessages) {  // input takes the place of the 64th
      EXPECT_THAT(drain, RaisesWith(Code(L"WaitForEvents", L"WaitFailed"),
                                    ElementsAre(Pair(L"winErrorCode", L"87"))));
    } else {
      drain();
      EXPECT_EQ(calls, 1);
    }
  }
}

TEST_F(EngineThread, AFlushComesBeforeAStopAndBothBeforeOtherEvents) {
  Engine engine;
  const TestEvent held;
  const TestEvent holding;
  const TestEvent release;
  const TestEvent later;
  const TestEvent stopping;
  const TestEvent flushing;
  std::string order;
  engine.On(held.Handle(), [&] {
    ::ResetEvent(held.Handle());
    holding.Set();
    release.Wait();
  });
  engine.On(later.Handle(), [&] { order += " later"; });
  engine.flush = [&] { order += " flush"; };
  engine.stop = [&] { order += " stop"; };
  engine.Start();
  held.Set();
  holding.Wait();
  later.Set();
  std::thread stopper([&] {
    ScriptedWaits::nextSingle = ScriptedWaits::Announcing(stopping.Handle());
    engine.Stop();
  });
  stopping.Wait();
  std::thread flusher([&] {
    ScriptedWaits::nextAny = ScriptedWaits::Announcing(flushing.Handle());
    engine.Flush();
  });
  flushing.Wait();
  release.Set();
  flusher.join();
  stopper.join();
  EXPECT_EQ(order, " flush stop");
}

TEST_F(EngineThread, ItsOwnControlIsRefusedWhileAnotherThreadFlushes) {
  Engine engine;
  const TestEvent request;
  const TestEvent requested;
  const TestEvent flushing;
  engine.On(request.Handle(), [&] {
    ::ResetEvent(request.Handle());
    requested.Set();
    flushing.Wait();
    EXPECT_THAT([&] { engine.Stop(); }, Raises(Code(L"Stop", L"CannotStopSelf")));
    EXPECT_THAT([&] { engine.Flush(); }, Raises(Code(L"Flush", L"CannotFlushSelf")));
    EXPECT_THAT([&] { engine.Start(); }, Raises(Code(L"Start", L"AlreadyRunning")));
  });
  int flushes = 0;
  engine.flush = [&] { ++flushes; };
  engine.Start();
  request.Set();
  requested.Wait();
  ScriptedWaits::nextAny = ScriptedWaits::Announcing(flushing.Handle());
  engine.Flush();
  EXPECT_EQ(flushes, 1);
  EXPECT_TRUE(engine.IsRunning());
}

TEST_F(EngineThread, StoppingItselfWhenAStopIsUnderWayReturnsThoughAnotherThreadFlushes) {
  Engine engine;
  const TestEvent request;
  const TestEvent requested;
  const TestEvent stopping;
  const TestEvent flushing;
  engine.On(request.Handle(), [&] {
    requested.Set();
    flushing.Wait();
    engine.Stop();
  });
  engine.Start();
  request.Set();
  requested.Wait();
  std::thread stopper([&] {
    ScriptedWaits::nextSingle = ScriptedWaits::Announcing(stopping.Handle());
    engine.Stop();
  });
  stopping.Wait();
  ScriptedWaits::nextAny = ScriptedWaits::Announcing(flushing.Handle());
  engine.Flush();
  stopper.join();
  EXPECT_FALSE(engine.IsRunning());
}

TEST_F(EngineThread, AnExceptionFromTheBodyGoesToTheHandlerOrIsDropped) {
  ErrorRecorder recorder;
  for (ErrorRecorder* const handler : {&recorder, static_cast<ErrorRecorder*>(nullptr)}) {
    Engine engine(handler);
    DWORD bodyThread = 0;
    engine.body = [&] {
      bodyThread = ::GetCurrentThreadId();
      engine.SignalThreadStarted();
      throw ExceptionOf(L"body");
    };
    engine.Start();
    EXPECT_THAT([&] { engine.Flush(); }, Raises(Code(L"Flush", L"ThreadExitedUnexpectedly")));
    EXPECT_TRUE(engine.IsRunning());
    if (handler != nullptr) {
      EXPECT_EQ(handler->threadId, bodyThread);
      EXPECT_THAT(*handler->error, HoldsOneError(MString(L"body"), IsEmpty()));
    }
    engine.Stop();
    EXPECT_FALSE(engine.IsRunning());

    // The flush that was never served is not the next thread's.
    engine.body = [&engine] { engine.Loop(); };
    engine.flush = [] { ADD_FAILURE(); };
    engine.Start();
    engine.Stop();
  }
}

TEST_F(EngineThread, AFlushThatThrowsEndsTheThreadAndAnswersNoLaterFlush) {
  ErrorRecorder recorder;
  Engine engine(&recorder);
  engine.flush = [] { throw ExceptionOf(L"flush"); };
  engine.Start();
  EXPECT_THAT([&] { engine.Flush(); }, Raises(Code(L"Flush", L"ThreadExitedUnexpectedly")));
  EXPECT_THAT(*recorder.error, HoldsOneError(MString(L"flush"), IsEmpty()));
  engine.Stop();

  int flushes = 0;
  engine.flush = [&] { ++flushes; };
  engine.Start();
  engine.Flush();
  EXPECT_EQ(flushes, 1);
}

TEST_F(EngineThread, AnEventAddedByTheBodyIsServedFromTheNextRoundOn) {
  Engine engine;
  const TestEvent request;
  const TestEvent added;
  const TestEvent served;
  engine.On(request.Handle(), [&] {
    ::ResetEvent(request.Handle());
    engine.On(added.Handle(), [&] {
      ::ResetEvent(added.Handle());
      served.Set();
    });
  });
  engine.Start();
  request.Set();
  added.Set();
  served.Wait();
}

TEST_F(EngineThread, LogsItsLifeByName) {
  Engine engine;
  const std::vector<LoggedEvent> events = Concerning(&engine, LogDuring([&] {
    engine.Start();
    engine.Flush();
    engine.Stop();
  }));
  std::array<std::vector<LoggedEvent>, 2> sides;
  for (const LoggedEvent& event : events) {
    sides[event.threadId == ::GetCurrentThreadId() ? 0 : 1].push_back(event);
  }
  EXPECT_THAT(
      sides[0],
      Logged(
          {"Scope_push MEngineThread.Start", "State_change to Starting MEngineThread.ChangeState",
           "State_change to Running MEngineThread.ChangeState", "Scope_pop MEngineThread.Start",
           "Scope_push MEngineThread.Flush", "Scope_pop MEngineThread.Flush",
           "Scope_push MEngineThread.Stop", "State_change to Stopping MEngineThread.ChangeState",
           "State_change to Inactive MEngineThread.ChangeState", "Scope_pop MEngineThread.Stop"}));
  EXPECT_THAT(
      sides[1],
      Logged({"Timing_point (0, 0) MEngineThread.SignalThreadStarted",
              "Timing_point (0, 0) MEngineThread.WaitForEvents",
              "Scope_push MEngineThread.OnFlushWrapper", "Scope_pop MEngineThread.OnFlushWrapper",
              "Timing_point (0, 0) MEngineThread.WaitForEvents",
              "Scope_push MEngineThread.OnStopWrapper", "Scope_pop MEngineThread.OnStopWrapper"}));
}

TEST_F(EngineThread, AnErrorIsLoggedInsideItsOperation) {
  Engine engine;
  engine.Start();
  EXPECT_THAT(
      Concerning(&engine, LogDuring([&] { EXPECT_ANY_THROW(engine.Start()); })),
      Logged({"Scope_push MEngineThread.Start", "Root_error AlreadyRunning MEngineThread.Start",
              "Scope_pop MEngineThread.Start"}));
}

TEST_F(EngineThread, SurvivesAStormOfControlOperations) {
  constexpr int kThreads = 4;
  constexpr unsigned kSeed = 20240607;
  RecordProperty("seed", static_cast<int>(kSeed));
  Engine engine;
  std::atomic<int> bodies{0};
  std::atomic<int> flushes{0};
  engine.body = [&] {
    EXPECT_EQ(bodies.fetch_add(1), 0);
    engine.Loop();
    bodies.fetch_sub(1);
  };
  engine.flush = [&] { flushes.fetch_add(1); };
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 random(kSeed + t);
      for (int i = StressRounds(4000); i > 0; --i) {
        try {
          switch (random() % 6) {
            case 0:
              engine.Stop();
              break;
            case 1:
              engine.ForceStop();
              break;
            case 2:
            case 3:
              engine.Flush();
              break;
            default:
              engine.Start();
          }
        } catch (const MException& exception) {
          // A stop by one thread ends the start or the flush of another.
          EXPECT_THAT(exception.GetError(0)->GetCode(),
                      testing::AnyOf(Code(L"Start", L"AlreadyRunning"),
                                     Code(L"Flush", L"ThreadExitedUnexpectedly")))
              << "seed " << kSeed;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  engine.Stop();
  engine.Start();
  const int before = flushes.load();
  engine.Flush();
  EXPECT_EQ(flushes.load(), before + 1);
  engine.Stop();
  EXPECT_EQ(bodies.load(), 0);
}

TEST(MMutexWinImp, BelongsToOneThreadAsOftenAsThatLocksIt) {
  MMutexWinImp mutex;
  const auto othersTry = [&mutex] {
    bool taken = false;
    std::thread([&] {
      taken = mutex.TryLock();
      if (taken) mutex.Unlock();
    }).join();
    return taken;
  };
  EXPECT_TRUE(mutex.Lock());
  EXPECT_TRUE(mutex.TryLock());
  EXPECT_FALSE(othersTry());
  mutex.Unlock();
  EXPECT_FALSE(othersTry());
  mutex.Unlock();
  EXPECT_TRUE(othersTry());
}

#if defined(_WIN32)

TEST_F(EngineThread, AMutexWhoseOwnerDiedIsToldAsAbandoned) {
  Engine engine;
  const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, nullptr);
  engine.On(mutex, [] { ADD_FAILURE(); });
  while (!engine.WaitForEvents(0)) {
  }
  std::thread([mutex] { ::WaitForSingleObject(mutex, INFINITE); }).join();
  EXPECT_THAT(
      [&] { static_cast<void>(engine.WaitForEvents(INFINITE)); },
      RaisesWith(Code(L"WaitForEvents", L"Abandoned"), ElementsAre(Pair(L"status", L"131"))));
  ::ReleaseMutex(mutex);
  ::CloseHandle(mutex);
}

TEST_F(EngineThread, AWindowMessageEndsARoundWithoutACallback) {
  Engine engine(nullptr, true);
  MSG message;
  ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // makes the thread's message queue
  while (engine.WaitForEvents(0)) {
  }
  ASSERT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), WM_APP, 0, 0));
  EXPECT_FALSE(engine.WaitForEvents(INFINITE));
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
  }
}

#endif

}  // namespace
