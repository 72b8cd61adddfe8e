// SPDX-License-Identifier: MIT
// A host beside the framework's library: what is thrown, derived from or waited for on one side and
// caught, called or signalled on the other.
#include "tests/crossmodule/Module.h"
#include "tests/support/Watchdog.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MDesyncEvent.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/commands/MExceptionHolder.h"
#include "velta/errors/IThreadErrorHandler.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/text/MLocale.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <future>
#include <memory>
#include <new>
#include <thread>
#include <typeinfo>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

const wchar_t hostClassName[] = L"HostTests";

[[noreturn]] void RaiseInTheLibrary() {
  static MFlowPoint point(hostClassName, L"RaiseInTheLibrary");
  point.At(nullptr).Raise(L"WaitFailed", L"winErrorCode", 6);
}

/// An error class that the library has never seen.
class HostError : public MError {
 public:
  explicit HostError(int hostDetail) : MError(L"Host.Do:Failed"), detail(hostDetail) {}

  HostError* Clone() const noexcept override { return new (std::nothrow) HostError(*this); }
  MString GetMessage() const override { return L"host detail"; }

  int detail;
};

/// Calls a function of the host on the processor's thread.
template <class Work>
class HostCommand : public MCommandSynchronous {
 public:
  HostCommand(MExceptionHolder holder, Work hostWork)
      : MCommandSynchronous(std::move(holder)), work(std::move(hostWork)) {}

 protected:
  void Execute() override { work(); }

 private:
  Work work;
};

template <class Work>
MExceptionHolder ExecuteOn(MCommandProcessor& processor, Work work) {
  MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command =
      std::make_unique<HostCommand<Work>>(outcome, std::move(work));
  processor.ExecuteSynchronously(command);
  return outcome;
}

template <class Work>
class HostEvent : public MDesyncEvent {
 public:
  explicit HostEvent(Work hostWork) : work(std::move(hostWork)) {}
  void Fire() override { work(); }

 private:
  Work work;
};

template <class Work>
MDesyncEvent* NewEvent(Work work) {
  return new HostEvent<Work>(std::move(work));
}

class HostHook : public MCallbackFunctor {
 public:
  void operator()() override { throw MException(HostError(5)); }
};

class HostHandler : public IThreadErrorHandler {
 public:
  void OnSpontaneousError(const MException& exception) override { reported = exception; }
  void OnUnhandledException(std::uintptr_t) override {}

  MException reported;
};

TEST(CrossModule, RunsAgainstTheLibraryAndTheRuntimeOfThisConfiguration) {
  EXPECT_TRUE(Module::IsLoaded(VELTA_TEST_LIBRARY));
#if defined(_WIN32)
  EXPECT_EQ(Module::IsLoaded("c++.dll"), VELTA_TEST_SHARED_LIBCXX != 0);
#endif
}

TEST(CrossModule, AnExceptionOfTheLibraryIsCaughtByItsType) {
  try {
    RaiseInTheLibrary();
  } catch (const MException& exception) {
    EXPECT_TRUE(typeid(exception) == typeid(MException));
    ASSERT_EQ(exception.GetErrorCount(), 1);
    const MError* const error = exception.GetError(0);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->GetCode(), L"HostTests.RaiseInTheLibrary:WaitFailed");
    EXPECT_EQ(error->GetMessage(), error->GetCode());
    EXPECT_THAT(error->GetParameters(), ElementsAre(Pair(L"winErrorCode", L"6")));
    EXPECT_EQ(&error->GetClassInfo(), &MError::ClassInfo);
    EXPECT_EQ(dynamic_cast<const MErrorOutOfMemory*>(error), nullptr);
  }
}

TEST(CrossModule, AnExceptionOfTheLibraryIsCaughtAsAStandardException) {
  try {
    RaiseInTheLibrary();
  } catch (const std::exception& exception) {
    EXPECT_STREQ(exception.what(), "Unknown exception");
    EXPECT_TRUE(typeid(exception) == typeid(MException));
    const auto* const own = dynamic_cast<const MException*>(&exception);
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own->GetErrorCount(), 1);
  }
}

TEST(CrossModule, ARuntimeExceptionIsConvertedInTheLibrary) {
  const auto open = [] { const MLocale locale(L"no such locale"); };
  try {
    open();
    FAIL() << "a locale of that name was found";
  } catch (const MException& exception) {
    const MError* const error = exception.GetError(0);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->GetCode(), L"MLocale.MLocale:BadCppLocale");
    EXPECT_EQ(error->GetParameters().at(L"name"), L"no such locale");
  }
}

TEST(CrossModule, AnExceptionOutlivesItsSourceAsACopyMadeHere) {
  MException kept;
  try {
    RaiseInTheLibrary();
  } catch (const MException& exception) {
    kept = exception;
  }
  kept.AddError(MError(L"later"));

  const MException copy(kept);

  ASSERT_EQ(copy.GetErrorCount(), 2);
  EXPECT_EQ(copy.GetError(0)->GetCode(), L"HostTests.RaiseInTheLibrary:WaitFailed");
  EXPECT_EQ(copy.GetError(1)->GetCode(), L"later");
}

TEST(CrossModule, AnExceptionPointerTakesALibraryExceptionToAnotherThread) {
  std::exception_ptr pointer;
  try {
    RaiseInTheLibrary();
  } catch (...) {
    pointer = std::current_exception();
  }
  bool caught = false;
  std::thread([&] {
    try {
      std::rethrow_exception(std::move(pointer));
    } catch (const MException& exception) {
      caught = exception.GetErrorCount() == 1;
    }
  }).join();
  EXPECT_TRUE(caught);
}

TEST(CrossModule, OutOfMemoryIsKnownByItsClass) {
  try {
    MErrorOutOfMemory::Throw();
  } catch (const MException& exception) {
    const MError* const error = exception.GetError(0);
    ASSERT_NE(error, nullptr);
    EXPECT_NE(dynamic_cast<const MErrorOutOfMemory*>(error), nullptr);
    EXPECT_TRUE(typeid(*error) == typeid(MErrorOutOfMemory));
    EXPECT_EQ(&error->GetClassInfo(), &MErrorOutOfMemory::ClassInfo);
    EXPECT_TRUE(error->GetClassInfo().IsA(MError::ClassInfo));
    EXPECT_EQ(error->GetMessage(), L"Out of memory");
  }
}

TEST(CrossModule, AnErrorClassOfTheHostKeepsItsClassInTheLibrarysChain) {
  const MException exception{HostError(42)};

  const auto* const error = dynamic_cast<const HostError*>(exception.GetError(0));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->detail, 42);
  EXPECT_EQ(exception.GetError(0)->GetMessage(), L"host detail");
}

TEST(CrossModule, TextAllocatedOnOneSideIsFreedOnTheOther) {
  MString text(200, L'x');
  MLocale::GetClassic().Format(text, L"%.200f", 1.0);
  EXPECT_EQ(text.size(), 202U);
  text.assign(300, L'y');
}

TEST(CrossModule, ACommandsExceptionComesBackFromTheProcessorsThread) {
  const Watchdog watchdog("a command of the host");
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();

  const MExceptionHolder failed =
      ExecuteOn(processor, [] { throw MException(HostError(7)); });  // thrown here, caught there
  std::thread::id ranOn;
  const MExceptionHolder succeeded =
      ExecuteOn(processor, [&] { ranOn = std::this_thread::get_id(); });

  EXPECT_FALSE(succeeded.HasError());
  EXPECT_NE(ranOn, std::this_thread::get_id());
  ASSERT_TRUE(failed.HasError());
  try {
    failed.ThrowIfError();
  } catch (const MException& exception) {
    const auto* const error = dynamic_cast<const HostError*>(exception.GetError(0));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->detail, 7);
  }
  processor.Stop();
  EXPECT_THROW(ExecuteOn(processor, [] {}), MException);
}

TEST(CrossModule, AHooksExceptionReachesTheHostsHandler) {
  const Watchdog watchdog("a processor that fails to start");
  HostHandler handler;
  MCommandProcessor processor(&handler, new HostHook, nullptr, nullptr, 0, false);

  try {
    processor.Start();
    FAIL() << "started";
  } catch (const MException& exception) {
    EXPECT_EQ(exception.GetError(0)->GetCode(), L"MEngineThread.Start:ThreadExitedUnexpectedly");
  }

  ASSERT_EQ(handler.reported.GetErrorCount(), 1);
  EXPECT_EQ(handler.reported.GetError(0)->GetCode(), L"Host.Do:Failed");
}

TEST(CrossModule, NotificationsOfTheHostAreDeliveredAndDeletedByTheLibrary) {
  const Watchdog watchdog("notifications of the host");
  MDesyncEventScheduler scheduler(nullptr);
  std::promise<void> last;
  std::atomic<int> fired{0};
  const auto alive = std::make_shared<int>(0);

  scheduler.ScheduleDesyncEvent(NewEvent([&fired, alive] { ++fired; }));
  scheduler.ScheduleDesyncEvent(NewEvent([&fired, alive] {
    ++fired;
    throw MException(HostError(1));
  }));
  scheduler.ScheduleDesyncEvent(NewEvent([&last] { last.set_value(); }));
  scheduler.Enable();
  last.get_future().wait();
  scheduler.Disable();

  EXPECT_EQ(fired.load(), 2);
  EXPECT_EQ(alive.use_count(), 1);
}

}  // namespace
