// SPDX-License-Identifier: MIT
#include "tests/support/LoggedEvents.h"
#include "tests/support/Raises.h"
#include "tests/support/ScriptedWaits.h"
#include "tests/support/StressScale.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/commands/MCommandProcessor.h"

#include <atomic>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const MString kAborted = L"MCommandProcessor.ExecuteSynchronously:CommandProcessingAborted";
const MString kStopped = L"MCommandProcessor.ExecuteSynchronously:ProcessorStopped";

struct Tally {
  std::atomic<int> made{0};
  std::atomic<int> run{0};
  std::atomic<int> deleted{0};
};

class Command : public MCommandSynchronous {
 public:
  explicit Command(
      Tally& counts, std::function<void()> what = [] {}, MExceptionHolder holder = {})
      : MCommandSynchronous(std::move(holder)), tally(counts), work(std::move(what)) {
    ++tally.made;
  }
  ~Command() override { ++tally.deleted; }

 protected:
  void Execute() override {
    ++tally.run;
    work();
  }

 private:
  Tally& tally;
  std::function<void()> work;
};

// A command whose exception nobody catches.
class FatalCommand final : public Command {
 public:
  using Command::Command;
  void ExecuteGenericCommand() override { throw ExceptionOf(L"fatal"); }
};

// Waits for one command on a thread of its own; made once that is queued.
class Caller {
 public:
  Caller(MCommandProcessor& processor, std::unique_ptr<MCommandSynchronous> command)
      : thread(ScriptedWaits::UntilItWaitsForAny(
            [this, &processor, command = std::move(command)]() mutable {
              try {
                processor.ExecuteSynchronously(command);
              } catch (const MException& exception) {
                outcome = exception.GetError(0)->GetCode();
              }
            })) {}

  // The error that the call ended with, if any, once it has ended. To be called once.
  MString Outcome() {
    thread.join();
    return outcome;
  }

 private:
  MString outcome;
  std::thread thread;  // last: it uses the others
};

class CommandProcessor : public testing::Test {
 protected:
  std::unique_ptr<MCommandSynchronous> Make(
      std::function<void()> work = [] {}, MExceptionHolder holder = {}) {
    return std::make_unique<Command>(tally, std::move(work), std::move(holder));
  }

  // A command that occupies the processor until `release`.
  std::unique_ptr<MCommandSynchronous> MakeHolding() {
    return Make([this] {
      holding.Set();
      release.Wait();
    });
  }

  const Watchdog watchdog{"a command processor"};
  const ScriptedWaits waits;
  Tally tally;
  const TestEvent holding{false};
  const TestEvent release{false};
  ErrorRecorder recorder;
  MCommandProcessor processor{&recorder, nullptr, nullptr, nullptr, 0, false};
};

TEST_F(CommandProcessor, EachCommandLeavesItsOwnOutcomeInTheHolder) {
  const MExceptionHolder holder = MExceptionHolder::Create();
  const auto fail = [] { throw ExceptionOf(L"command"); };
  processor.Start();
  for (const bool fails : {false, true, false, true}) {
    auto command = fails ? Make(fail, holder) : Make([] {}, holder);
    processor.ExecuteSynchronously(command);
    EXPECT_EQ(command, nullptr);
    EXPECT_EQ(holder.HasError(), fails);
    if (fails) {
      EXPECT_THAT([&] { holder.ThrowIfError(); }, Raises(L"command"));
    }
  }
  auto untold = Make(fail);
  processor.ExecuteSynchronously(untold);
  std::unique_ptr<MCommandSynchronous> none;
  processor.ExecuteSynchronously(none);
  processor.Stop();
  EXPECT_EQ(tally.run, 5);
  EXPECT_EQ(tally.deleted, 5);
  EXPECT_FALSE(recorder.error.has_value());
}

TEST_F(CommandProcessor, FlushAndStopExecuteWhatIsQueuedInItsOrder) {
  std::string order;
  processor.Start();
  for (const bool stops : {false, true}) {
    Caller first(processor, MakeHolding());
    holding.Wait();
    Caller second(processor, Make([&] { order += "2"; }));
    Caller third(processor, Make([&] { order += "3"; }));
    std::thread control = stops ? ScriptedWaits::UntilItWaitsForOne([this] { processor.Stop(); })
                                : ScriptedWaits::UntilItWaitsForAny([this] { processor.Flush(); });
    release.Set();
    control.join();
    EXPECT_EQ(order, stops ? "2323" : "23");
    for (Caller* const caller : {&first, &second, &third}) {
      EXPECT_EQ(caller->Outcome(), L"");
    }
  }
  EXPECT_EQ(tally.deleted, 6);
}

TEST_F(CommandProcessor, OnceStoppedRefusesWhoeverWouldWaitForGoodButRunsTheRestWhenRestarted) {
  class Open final : public MCommandProcessor {
   public:
    Open() : MCommandProcessor(nullptr, nullptr, nullptr, nullptr, 0, false) {}
    using MCommandProcessor::GetCommandInput;
  } open;
  auto refused = Make();
  for (int run = 1; run <= 2; ++run) {
    open.GetCommandInput().Push(Make().release());  // before the thread begins
    open.Start();
    EXPECT_EQ(open.IsAborted(), run == 2);
    open.Flush();
    EXPECT_EQ(tally.run, run);
    open.Stop();
    EXPECT_EQ(tally.deleted, run);
    EXPECT_THAT([&] { open.ExecuteSynchronously(refused); }, Raises(kStopped));
    EXPECT_NE(refused, nullptr);
  }
  open.GetCommandInput().Push(Make().release());
  open.Abort();
  EXPECT_EQ(tally.run, 2);
  EXPECT_EQ(tally.deleted, 3);
}

int eventsGranted = 0;

HANDLE GrantEvents(BOOL manualReset, BOOL initialState) {
  if (eventsGranted-- > 0) {
    return ::CreateEventW(nullptr, manualReset, initialState, nullptr);
  }
  ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}

TEST_F(CommandProcessor, ARefusedEventIsAnErrorOfWhoeverNeedsIt) {
  const SystemCallOverride grant(Velta::Platform::systemCalls.createEvent, &GrantEvents);
  const auto make = [] {
    const MCommandProcessor made(nullptr, new Callback([] {}), nullptr, nullptr, 0, false);
  };
  const wchar_t* const engine = L"MEngineThread.MEngineThread:CreateEvent";
  const wchar_t* const refused[] = {engine,
                                    engine,
                                    engine,
                                    engine,
                                    engine,
                                    L"MThreadSafeFifo.MThreadSafeFifo:CreateEvent",
                                    L"MCommandProcessor.MCommandProcessor:CreateEvent"};
  for (int granted = 0; granted < 7; ++granted) {
    eventsGranted = granted;
    EXPECT_THAT(make, RaisesWith(refused[granted], ElementsAre(Pair(L"winErrorCode", L"8"))));
  }
  auto command = Make();
  EXPECT_THAT([&] { processor.ExecuteSynchronously(command); },
              RaisesWith(L"MCommandProcessor.ExecuteSynchronously:WaitFailed",
                         ElementsAre(Pair(L"winErrorCode", L"8"))));
  EXPECT_NE(command, nullptr);
}

TEST_F(CommandProcessor, AbortReleasesEveryWaiterAndDeletesTheQueue) {
  Caller first(processor, Make());
  Caller second(processor, Make());
  processor.Abort();
  EXPECT_EQ(first.Outcome(), kAborted);
  EXPECT_EQ(second.Outcome(), kAborted);
  EXPECT_EQ(tally.run, 0);
  EXPECT_EQ(tally.deleted, 2);
}

TEST_F(CommandProcessor, TellsEveryBadEndOfItsWaitsAndClosesItsEvent) {
  const std::map<MString, MString> none;
  const std::map<MString, MString> five = {{L"winErrorCode", L"5"}};
  const std::pair<DWORD, const wchar_t*> executing[] = {
      {128, L"Abandoned"},  {129, L"Abandoned"}, {WAIT_FAILED, L"WaitFailed"},
      {130, L"WaitFailed"}, {2, L"WaitFailed"},  {WAIT_TIMEOUT, L"WaitFailed"}};
  for (const auto& [result, error] : executing) {
    auto command = Make();
    HANDLE completion = nullptr;
    ScriptedWaits::nextAny = ScriptedWaits::EndingWith(result, 5);
    ScriptedWaits::nextAny.watched = &completion;
    EXPECT_THAT([&] { processor.ExecuteSynchronously(command); },
                RaisesWith(MString(L"MCommandProcessor.ExecuteSynchronously:") + error,
                           testing::ContainerEq(result == 128 || result == 129 ? none : five)));
    EXPECT_TRUE(IsClosed(completion));
  }
  for (const DWORD result : {DWORD{128}, DWORD{1}, WAIT_FAILED}) {
    ScriptedWaits::nextSingle = ScriptedWaits::EndingWith(result, 5);
    EXPECT_THAT(
        [&] { static_cast<void>(processor.IsAborted()); },
        RaisesWith(L"MCommandProcessor.IsAborted:ErrorAccessingEvent", testing::ContainerEq(five)));
  }
  processor.Abort();
  EXPECT_EQ(tally.deleted, 6);
}

TEST_F(CommandProcessor, RunsItsHooksOnItsThreadBeforeStartAndStopReturn) {
  std::vector<std::pair<std::string, DWORD>> calls;
  const auto hook = [&](const char* name) {
    return new Callback([&calls, name] { calls.emplace_back(name, ::GetCurrentThreadId()); });
  };
  const std::vector<LoggedEvent> events = LogDuring([&] {
    MCommandProcessor hooked(nullptr, hook("start"), hook("exit"), hook("idle"), 0, false);
    hooked.Start();
    ASSERT_EQ(calls.size(), 1u);
    DWORD worker = 0;
    auto command = Make([&] { worker = ::GetCurrentThreadId(); });
    hooked.ExecuteSynchronously(command);
    hooked.Stop();
    EXPECT_NE(worker, ::GetCurrentThreadId());
    EXPECT_THAT(calls, ElementsAre(Pair("start", worker), Pair("exit", worker)));
    hooked.Start();
  });
  EXPECT_EQ(calls.size(), 4u);  // destroying it has stopped it
  EXPECT_THAT(events, LoggedInOrder(std::vector<std::string>{
                          "Construction MCommandProcessor.MCommandProcessor",
                          "Destruction MCommandProcessor.~MCommandProcessor",
                          "Destruction MEngineThread.~MEngineThread"}));
}

TEST_F(CommandProcessor, AHookThatThrowsIsReportedAndFailsAStartButNoStop) {
  const auto fail = [] { throw ExceptionOf(L"hook"); };
  for (const bool atStart : {true, false}) {
    recorder.error.reset();
    MCommandProcessor hooked(&recorder, atStart ? new Callback(fail) : nullptr,
                             atStart ? new Callback([] { ADD_FAILURE(); }) : new Callback(fail),
                             nullptr, 0, false);
    if (atStart) {
      EXPECT_THAT([&] { hooked.Start(); }, Raises(L"MEngineThread.Start:ThreadExitedUnexpectedly"));
      EXPECT_FALSE(hooked.IsRunning());
    } else {
      hooked.Start();
      hooked.Stop();
    }
    EXPECT_THAT(*recorder.error, HoldsOneError(MString(L"hook"), IsEmpty()));
  }
}

std::atomic<DWORD> lastTimeout{0};

TEST_F(CommandProcessor, CallsTheIdleHookAtEachTimeOutAndForWindowInputWhateverItThrows) {
  const SystemCallOverride record(
      Velta::Platform::systemCalls.waitForAnyOrInput,
      +[](DWORD count, const HANDLE*, DWORD timeoutMs) {
        lastTimeout = timeoutMs;
        return timeoutMs == INFINITE ? WAIT_OBJECT_0 + count : WAIT_TIMEOUT;
      });
  for (const DWORD timeout : {DWORD{500}, DWORD{0}}) {
    const TestEvent third;
    int calls = 0;
    const auto idle = [&] {
      if (++calls == 3) {
        third.Set();
      }
      throw ExceptionOf(L"idle");
    };
    const std::vector<LoggedEvent> events = LogDuring([&] {
      MCommandProcessor idling(&recorder, nullptr, nullptr, new Callback(idle), timeout, true);
      idling.Start();
      third.Wait();
      idling.Stop();
    });
    EXPECT_EQ(lastTimeout, timeout == 0 ? INFINITE : timeout);
    EXPECT_THAT(events, LoggedInOrder(std::vector<std::string>(
                            3, "Dismissed_error (unknown) MCommandProcessor.ThreadFunction")));
  }
  EXPECT_FALSE(recorder.error.has_value());
}

TEST_F(CommandProcessor, WhoWaitsForADeadThreadIsReleasedByWhateverEndsTheProcessor) {
  const std::function<void(std::unique_ptr<MCommandProcessor>&)> ends[] = {
      [](auto& dead) { dead->Stop(); },
      [](auto& dead) {
        ScriptedWaits::nextSingle = ScriptedWaits::EndingWith(WAIT_FAILED);
        dead->ForceStop();
      },
      [](auto& dead) { dead.reset(); },  // those who are released touch nothing of it
  };
  for (const auto& end : ends) {
    ErrorRecorder fault;
    auto dead = std::make_unique<MCommandProcessor>(&fault, nullptr, nullptr, nullptr, 0, false);
    Caller fatal(*dead, std::make_unique<FatalCommand>(tally));
    Caller waiting(*dead, Make());
    dead->Start();
    fault.heard.Wait();
    EXPECT_THAT(*fault.error, HoldsOneError(MString(L"fatal"), IsEmpty()));
    EXPECT_THAT([&] { dead->Flush(); }, Raises(L"MEngineThread.Flush:ThreadExitedUnexpectedly"));
    end(dead);
    EXPECT_EQ(fatal.Outcome(), kAborted);
    EXPECT_EQ(waiting.Outcome(), kAborted);
  }
  EXPECT_EQ(tally.run, 0);
  EXPECT_EQ(tally.deleted, 6);
}

TEST_F(CommandProcessor, DestroyingOneThatNeverRanReleasesItsCallers) {
  auto idle = std::make_unique<MCommandProcessor>(nullptr, nullptr, nullptr, nullptr, 0, false);
  auto command = Make();
  MCommandSynchronous* const queued = command.get();
  Caller caller(*idle, std::move(command));
  idle.reset();
  EXPECT_EQ(caller.Outcome(), kAborted);
  EXPECT_EQ(tally.deleted, 0);
  delete queued;  // nobody else does
}

TEST_F(CommandProcessor, AnExceptionFromTheLastFlushIsLoggedAndTheRestAborted) {
  processor.Start();
  Caller first(processor, MakeHolding());
  holding.Wait();
  Caller fatal(processor, std::make_unique<FatalCommand>(tally));
  Caller after(processor, Make());
  const std::vector<LoggedEvent> events = LogDuring([&] {
    std::thread stopper = ScriptedWaits::UntilItWaitsForOne([this] { processor.Stop(); });
    release.Set();
    stopper.join();
  });
  EXPECT_THAT(
      events,
      LoggedInOrder(std::vector<std::string>{
          "Scope_push MEngineThread.OnStopWrapper", "Scope_push MCommandProcessor.OnStop",
          "Scope_push MCommandProcessor.OnFlush", "Scope_pop MCommandProcessor.OnFlush",
          "Dismissed_error (unknown) MCommandProcessor.OnStop",
          "Timing_point (0, 0) MCommandProcessor.Abort", "Scope_pop MCommandProcessor.OnStop",
          "Scope_pop MCommandProcessor.ThreadFunction"}));
  EXPECT_EQ(first.Outcome(), L"");
  EXPECT_EQ(fatal.Outcome(), kAborted);
  EXPECT_EQ(after.Outcome(), kAborted);
  EXPECT_EQ(tally.deleted, 3);
  EXPECT_FALSE(recorder.error.has_value());
}

// What may come of it the simulation tells: this is for the sanitizers, and for Windows.
TEST_F(CommandProcessor, ControlThatRacesCallersRunsOrDeletesEveryCommandOnce) {
  for (int round = StressRounds(400); round > 0; --round) {
    Tally counts;
    std::atomic<int> inside{0};
    std::atomic<int> returned{0};
    const TestEvent enough;
    MCommandProcessor racing(&recorder, nullptr, nullptr, nullptr, 0, false);
    const auto work = [&] {
      EXPECT_EQ(inside.fetch_add(1), 0);
      if (counts.run == round % 50 + 1) {
        enough.Set();
      }
      inside.fetch_sub(1);
      throw ExceptionOf(L"work");
    };
    const auto call = [&] {
      const MExceptionHolder holder = MExceptionHolder::Create();
      try {
        for (;;) {
          std::unique_ptr<MCommandSynchronous> command =
              std::make_unique<Command>(counts, work, holder);
          racing.ExecuteSynchronously(command);
          EXPECT_TRUE(holder.HasError());
          ++returned;
        }
      } catch (const MException& exception) {
        EXPECT_THAT(exception.GetError(0)->GetCode(), testing::AnyOf(kAborted, kStopped));
      }
    };
    const std::function<void()> operations[] = {[&] { racing.Flush(); }, [&] { racing.Stop(); },
                                                [&] { racing.ForceStop(); },
                                                [&] { racing.Start(); }};
    const auto control = [&](int seed) {
      std::mt19937 random(static_cast<unsigned>(seed));
      enough.Wait();
      for (int i = 0; i < 20; ++i) {
        try {
          operations[random() % std::size(operations)]();
        } catch (const MException& exception) {  // one thread's stop ends another's flush
          EXPECT_THAT(exception.GetError(0)->GetCode(),
                      testing::AnyOf(L"MEngineThread.Start:AlreadyRunning",
                                     L"MEngineThread.Flush:ThreadExitedUnexpectedly"));
        }
      }
      racing.Stop();
    };
    racing.Start();
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back(call);
      threads.emplace_back(control, 3 * round + i);
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(counts.deleted, counts.made);
    EXPECT_EQ(counts.run, returned);
  }
  EXPECT_FALSE(recorder.error.has_value());
}

}  // namespace
