// SPDX-License-Identifier: MIT
#include "tests/support/Allocations.h"
#include "tests/support/Engine.h"
#include "tests/support/ScriptedWaits.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/logging/MFlowPoint.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

// Refuses `action` each of its allocations, alone and with all that follow: it may throw what is
// thrown for lack of memory, and keeps nothing.
void SurvivesRefusals(const std::function<void()>& action) {
  // Names are registered once and stay, so the first of two equal passes may leave some.
  for (const bool first : {true, false}) {
    for (const int refused : {1, Allocations::kUnlimited}) {
      const auto run = [&] {
        const int before = Allocations::Live();
        try {
          action();
        } catch (const MException&) {
        } catch (const std::bad_alloc&) {
        }
        const int left = Allocations::Live() - before;
        if (!first && left != 0) {
          Allocations::Allow(Allocations::kUnlimited);
          ADD_FAILURE() << left << " allocations left by a run of " << Allocations::Count();
        }
      };
      EXPECT_GT(Allocations::RefuseEverywhere(run, refused), 0);
    }
  }
}

class Command final : public MCommandSynchronous {
 public:
  Command(const std::function<void()>& what, MExceptionHolder holder)
      : MCommandSynchronous(std::move(holder)), work(what) {}

 private:
  void Execute() override { work(); }
  const std::function<void()>& work;
};

class Notification final : public MDesyncEvent {
 public:
  explicit Notification(int& counted) : count(counted) {}
  void Fire() override { ++count; }

 private:
  int& count;
};

class Allocation : public testing::Test {
 protected:
  void Execute(const std::function<void()>& work, const MExceptionHolder& holder = {}) {
    std::unique_ptr<MCommandSynchronous> command = std::make_unique<Command>(work, holder);
    processor.ExecuteSynchronously(command);
    processor.Flush();  // after the command's deletion
  }

  const Watchdog watchdog{"an operation without memory"};
  const ScriptedWaits waits;
  MCommandProcessor processor{nullptr, nullptr, nullptr, nullptr, 0, false};
};

TEST_F(Allocation, RefusedWhileObjectsAreMade) {
  SurvivesRefusals([] { const MSchedulerThread scheduler(nullptr); });
  SurvivesRefusals([] { const MDesyncEventScheduler scheduler(nullptr); });
  SurvivesRefusals([] { const MThreadSafeFifo<int*, int*> queue; });
  SurvivesRefusals([] { const MExceptionHolder holder = MExceptionHolder::Create(); });
  SurvivesRefusals([] {
    auto start = std::make_unique<Callback>([] {});
    auto exit = std::make_unique<Callback>([] {});
    auto idle = std::make_unique<Callback>([] {});
    const MCommandProcessor made(nullptr, start.release(), exit.release(), idle.release(), 1, true);
  });
}

TEST_F(Allocation, RefusedWhileAThreadIsControlled) {
  Engine engine;  // unlike a scheduler's, its thread registers no name, which would stay
  engine.Start();
  engine.Flush();
  engine.Stop();
  SurvivesRefusals([&] {
    try {
      engine.Start();
      engine.Flush();
      engine.Start();  // refused: there is an error to be made
    } catch (...) {
      engine.Stop();
      EXPECT_FALSE(engine.IsRunning());
      throw;
    }
  });
  engine.Stop();
  WaitScript failing = ScriptedWaits::EndingWith(WAIT_FAILED);
  failing.waitsBefore = true;
  SurvivesRefusals([&] {
    engine.Start();
    ScriptedWaits::nextSingle = failing;
    EXPECT_NO_THROW(engine.ForceStop());
    EXPECT_FALSE(engine.IsRunning());
  });
}

TEST_F(Allocation, RefusedWhileEventsAreAddedLeavesEachItsCallback) {
  const TestEvent unset;
  const TestEvent set(false);
  SurvivesRefusals([&] {
    Engine engine;
    int calls = 0;
    try {
      for (int i = 3; i < 63; ++i) {
        engine.AddEvent(unset.Handle(), new Callback([] {}));
      }
    } catch (...) {
      Allocations::Allow(Allocations::kUnlimited);
      engine.AddEvent(set.Handle(), new Callback([&] { ++calls; }));
      set.Set();
      EXPECT_TRUE(engine.WaitForEvents(0));  // the restart event
      EXPECT_TRUE(engine.WaitForEvents(0));
      EXPECT_EQ(calls, 1);
      throw;
    }
  });
}

TEST_F(Allocation, RefusedWhileAQueueGrowsLeavesItsContent) {
  std::vector<int> items(100);
  SurvivesRefusals([&] {
    MThreadSafeFifo<int*, int*> queue;
    std::size_t pushed = 0;
    try {
      for (; pushed < items.size(); ++pushed) {
        queue.Push(&items[pushed]);
      }
    } catch (...) {
      EXPECT_EQ(static_cast<std::size_t>(queue.GetCount()), pushed);
      EXPECT_EQ(static_cast<std::size_t>(queue.GetCapacity()), pushed);
      EXPECT_EQ(queue.IsEmpty(), pushed == 0);
      int* out = nullptr;
      for (std::size_t i = 0; i < pushed; ++i) {
        EXPECT_TRUE(queue.Pop(out) && out == &items[i]);
      }
      throw;
    }
  });
}

TEST_F(Allocation, RefusedToTheCallerOfACommand) {
  processor.Start();
  const MException failure = ExceptionOf(L"a command's failure, too long for a short string");
  const std::function<void()> works[] = {[] {}, [&] { throw MException(failure); }};
  for (const bool fails : {false, true}) {
    SurvivesRefusals([&] {
      const MExceptionHolder holder = MExceptionHolder::Create();
      Execute(works[fails ? 1 : 0], holder);
      EXPECT_EQ(holder.HasError(), fails);
      holder.ThrowIfError();
    });
  }
}

TEST_F(Allocation, RefusedToAFailingCommandStillLeavesItFailed) {
  static MFlowPoint point(L"Command", L"Execute");
  const MException failure = ExceptionOf(L"a failure that is too long for a short string");
  std::exception_ptr made;
  const auto rethrow = [&] { std::rethrow_exception(made); };
  const auto raise = [] {
    try {
      point.Raise(L"A condition that is too long for a short string");
    } catch (const std::bad_alloc&) {
      throw MException(MError(L"no memory for the error"));
    }
  };
  const std::pair<std::function<void()>, int> failures[] = {
      {rethrow, 1}, {rethrow, Allocations::kUnlimited}, {raise, 1}};
  const MExceptionHolder holder = MExceptionHolder::Create();
  processor.Start();
  for (const std::pair<std::function<void()>, int>& fails : failures) {
    int granted = 0;
    for (bool wasRefused = true; wasRefused; ++granted) {
      made = std::make_exception_ptr(failure);
      const auto failWithLittle = [&] {
        Allocations::Reset();
        Allocations::Allow(granted, fails.second);
        fails.first();
      };
      Execute(failWithLittle, holder);
      Execute([&] {
        wasRefused = Allocations::Count() > granted;
        Allocations::Allow(Allocations::kUnlimited);
      });
      EXPECT_TRUE(holder.HasError()) << granted;
      EXPECT_THROW(holder.ThrowIfError(), MException) << granted;
    }
    EXPECT_GT(granted, 2);
  }
}

TEST_F(Allocation, RefusedWhileNotificationsAreScheduled) {
  SurvivesRefusals([] {
    int scheduled = 0;
    int fired = 0;
    MDesyncEventScheduler scheduler(nullptr);
    const auto drain = [&] {
      scheduler.OnSchedulerEvent();
      EXPECT_EQ(fired, scheduled);
    };
    try {
      for (; scheduled < 20; ++scheduled) {
        scheduler.ScheduleDesyncEvent(new Notification(fired));
      }
    } catch (...) {
      drain();
      throw;
    }
    drain();
  });
}

TEST_F(Allocation, RefusedWhileASchedulerWithADeadThreadIsDestroyed) {
  struct DyingScheduler final : MDesyncEventScheduler {
    using MDesyncEventScheduler::MDesyncEventScheduler;
    void OnSchedulerEvent() override { throw ExceptionOf(L"drain"); }
  };
  int fired = 0;
  Notification notification(fired);  // stays queued
  int requests = 0;
  for (int granted = 0; granted <= requests; ++granted) {
    ErrorRecorder recorder;
    auto scheduler = std::make_unique<DyingScheduler>(&recorder);
    scheduler->Enable();
    scheduler->ScheduleDesyncEvent(&notification);
    recorder.heard.Wait();
    Allocations::Reset();
    Allocations::Allow(granted);
    scheduler.reset();
    Allocations::Allow(Allocations::kUnlimited);
    requests = Allocations::Count();
  }
  EXPECT_GT(requests, 1);
}

TEST_F(Allocation, RefusedWhileErrorsAreMadeCopiedAndRaised) {
  static const wchar_t className[] = L"A class name that is too long for a short string";
  SurvivesRefusals([] {
    MError error(className);
    error.AddParameter(L"a parameter's name, too long for a short string", className);
    error.AddParameter(L"status", std::uint32_t{42}, true);
    const std::unique_ptr<MError> clone(error.Clone());
    if (clone != nullptr) {
      EXPECT_EQ(clone->GetParameters(), error.GetParameters());
    }
    MException exception(error);
    exception.AddErrorWithCause(MErrorOutOfMemory());
    const MException copy(exception);
    exception = copy;
    EXPECT_LE(copy.GetErrorCount(), 2);
  });
  static MFlowPoint point(className, L"Raise");
  SurvivesRefusals([] { point.Raise(L"Failed"); });
  SurvivesRefusals([] { point.Raise(L"Failed", L"winErrorCode", 5); });
  SurvivesRefusals([] { point.Raise(L"Failed", L"name", std::string(100, 'x')); });
  SurvivesRefusals([] { point.RaiseFromException(std::bad_alloc(), L"Failed", L"name", "x"); });
}

TEST_F(Allocation, IsNotNeededPerPushCommandOrNotification) {
  MThreadSafeFifo<int*, int*> queue;
  Allocations::Reset();
  for (int i = 0; i < 1000; ++i) {
    queue.Push(nullptr);
  }
  EXPECT_LE(Allocations::Count(), 12);

  processor.Start();
  int requests = 0;
  Execute([] {});  // every operation on the way registers its name once
  Execute([] { Allocations::Reset(); });
  const std::function<void()> work = [&] { requests = Allocations::Count(); };
  std::unique_ptr<MCommandSynchronous> command =
      std::make_unique<Command>(work, MExceptionHolder());
  Allocations::Reset();
  processor.ExecuteSynchronously(command);
  EXPECT_EQ(Allocations::Count(), 0);  // by the caller
  EXPECT_EQ(requests, 0);              // by the processor
}

}  // namespace
