// SPDX-License-Identifier: MIT
// _beginthreadex, thread handles, thread ids, the last error, CoInitializeEx.
#include "PlatformKit.h"
#include "tests/support/Watchdog.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace {

/// What a thread of a test is told, and tells.
struct Job {
  Event mayEnd{Event::kManual};
  std::atomic<DWORD> seenId{0};
  std::atomic<bool> hasEnded{false};  // told by an object of the thread's own

  static unsigned __stdcall Run(void* argument) {
    struct AtTheEnd {
      ~AtTheEnd() { ended->hasEnded = true; }
      Job* ended;
    };
    auto* const job = static_cast<Job*>(argument);
    static thread_local const AtTheEnd atTheEnd{job};
    job->seenId = ::GetCurrentThreadId();
    ::WaitForSingleObject(job->mayEnd, INFINITE);
    return 17;
  }

  HANDLE Begin(unsigned* id = nullptr) {
    return reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, &Run, this, 0, id));
  }
};

TEST(BeginThread, TheHandleIsSignalledAtTheEndWithIdAndExitCode) {
  const Watchdog watchdog("a thread's end");
  Job job;
  unsigned id = 0;
  const HANDLE thread = job.Begin(&id);
  ASSERT_NE(thread, nullptr);
  EXPECT_NE(id, 0U);
  DWORD exitCode = 0;
  EXPECT_EQ(::GetExitCodeThread(thread, &exitCode), TRUE);
  EXPECT_EQ(exitCode, DWORD{STILL_ACTIVE});
  EXPECT_FALSE(IsSignalled(thread));
  const Outcome refused{FALSE, ERROR_INVALID_HANDLE};  // a thread is no event, an event no thread
  EXPECT_EQ(OutcomeOf([&] { return ::SetEvent(thread); }), refused);
  EXPECT_EQ(OutcomeOf([&] { return ::ResetEvent(thread); }), refused);
  EXPECT_EQ(OutcomeOf([&] { return ::GetExitCodeThread(job.mayEnd, &exitCode); }), refused);

  ::SetEvent(job.mayEnd);
  const Event never(Event::kManual);
  const HANDLE handles[] = {never, thread};
  EXPECT_EQ(::WaitForMultipleObjects(2, handles, FALSE, INFINITE), 1U);
  EXPECT_TRUE(IsSignalled(thread));
  EXPECT_TRUE(IsSignalled(thread));
  EXPECT_EQ(job.seenId.load(), id);
  EXPECT_EQ(::GetExitCodeThread(thread, &exitCode), TRUE);
  EXPECT_EQ(exitCode, 17U);
  EXPECT_EQ(::CloseHandle(thread), TRUE);
  EXPECT_EQ(OutcomeOf([&] { return ::WaitForSingleObject(thread, 0); }),
            (Outcome{WAIT_FAILED, ERROR_INVALID_HANDLE}));
}

TEST(BeginThread, TheEndComesAfterTheThreadsOwnObjectsAreDestroyed) {
  const Watchdog watchdog("threads with objects of their own");
  for (int round = 0; round < 100; ++round) {
    Job job;
    ::SetEvent(job.mayEnd);
    const HANDLE thread = job.Begin();
    EXPECT_EQ(::WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
    EXPECT_TRUE(job.hasEnded);
    ::CloseHandle(thread);
  }
}

TEST(BeginThread, WithoutAnEntryItReportsTheWrongArgument) {
  TolerateInvalidParameters();
  errno = 0;
  EXPECT_EQ(::_beginthreadex(nullptr, 0, nullptr, nullptr, 0, nullptr), 0U);
  EXPECT_EQ(errno, EINVAL);
}

TEST(LastError, BelongsToItsThread) {
  ::SetLastError(1);
  std::thread([] {
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_SUCCESS});
    ::SetLastError(2);
  }).join();
  EXPECT_EQ(::GetLastError(), 1U);
}

TEST(CoInitialize, TellsTheFirstCallOnAThreadFromNestedOnes) {
  const auto check = [] {
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
      EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
      ::CoUninitialize();
      ::CoUninitialize();
    }
  };
  check();
  std::thread(check).join();
}

}  // namespace
