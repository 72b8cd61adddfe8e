// SPDX-License-Identifier: MIT
// _beginthreadex, thread handles, thread ids and names, the last error.
#include "PlatformKit.h"
#include "tests/support/Watchdog.h"
#include "velta/platform/internal/ThreadName.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <pthread.h>
#endif

namespace {

/// What a thread of a test is told, and tells.
struct Job {
  Event mayEnd{Event::kManual};
  Event ended{Event::kManual};
  std::atomic<DWORD> seenId{0};

  static unsigned __stdcall Run(void* argument) {
    auto* const job = static_cast<Job*>(argument);
    job->seenId = ::GetCurrentThreadId();
    ::WaitForSingleObject(job->mayEnd, INFINITE);
    ::SetEvent(job->ended);
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

TEST(BeginThread, TheHandleMayBeClosedWhileTheThreadRunsAndOthersWaitForIt) {
  const Watchdog watchdog("threads whose handle is closed");
  for (int round = 0; round < 50; ++round) {
    Job job;
    const HANDLE thread = job.Begin();
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
      waiters.emplace_back([&] {
        const DWORD result = ::WaitForSingleObject(thread, INFINITE);
        // Who comes after the close is refused, who waits already sees the end.
        EXPECT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_FAILED) << result;
      });
    }
    EXPECT_EQ(::CloseHandle(thread), TRUE);
    ::SetEvent(job.mayEnd);
    EXPECT_EQ(::WaitForSingleObject(job.ended, INFINITE), DWORD{WAIT_OBJECT_0});
    for (std::thread& waiter : waiters) waiter.join();
  }
}

std::atomic<int> destroyed;

/// An object that each thread has of its own.
struct Own {
  ~Own() { ++destroyed; }
  int touched = 0;
};
thread_local Own own;

unsigned __stdcall TouchOwn(void* /*argument*/) {
  own.touched = 1;
  return 0;
}

TEST(BeginThread, TheEndComesAfterTheThreadsOwnObjectsAreDestroyed) {
  const Watchdog watchdog("a thread with objects of its own");
  destroyed = 0;
  for (int round = 1; round <= 100; ++round) {
    const auto thread =
        reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, &TouchOwn, nullptr, 0, nullptr));
    EXPECT_EQ(::WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(destroyed.load(), round);
    ::CloseHandle(thread);
  }
}

TEST(BeginThread, AThreadIsNoEventAndAnEventNoThread) {
  const Watchdog watchdog("a thread's end");
  Job job;
  const HANDLE thread = job.Begin();
  const Outcome refused{FALSE, ERROR_INVALID_HANDLE};
  EXPECT_EQ(OutcomeOf([&] { return ::SetEvent(thread); }), refused);
  EXPECT_EQ(OutcomeOf([&] { return ::ResetEvent(thread); }), refused);
  DWORD exitCode = 0;
  EXPECT_EQ(OutcomeOf([&] { return ::GetExitCodeThread(job.mayEnd, &exitCode); }), refused);
  ::SetEvent(job.mayEnd);
  EXPECT_EQ(::WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
  ::CloseHandle(thread);
}

TEST(BeginThread, WithoutAnEntryItReportsTheWrongArgument) {
  const TolerateInvalidParameters tolerate;
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

#if defined(_WIN32)

struct {
  DWORD parameters = 0;
  std::string name;
  DWORD threadId = 0;
} announced;

LONG CALLBACK RecordThreadName(EXCEPTION_POINTERS* pointers) {
  const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
  if (record.ExceptionCode == 0x406D1388) {
    announced.parameters = record.NumberParameters;
    const auto* const words = reinterpret_cast<const ULONG_PTR*>(record.ExceptionInformation);
    announced.name = reinterpret_cast<const char*>(words[1]);
    announced.threadId = static_cast<DWORD>(words[2]);
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(ThreadName, ADebuggerIsToldAndNobodyElseNotices) {
  AnnounceThreadName(::GetCurrentThreadId(), nullptr);
  struct Watcher {
    void* handle = ::AddVectoredExceptionHandler(1, &RecordThreadName);
    ~Watcher() { ::RemoveVectoredExceptionHandler(handle); }
  } watcher;
  AnnounceThreadName(4711, nullptr);
  EXPECT_EQ(announced.parameters, 0U);
  AnnounceThreadName(4711, "worker");
  EXPECT_EQ(announced.parameters, 3U);
  EXPECT_EQ(announced.name, "worker");
  EXPECT_EQ(announced.threadId, 4711U);
}

#else

TEST(ThreadName, TheSystemKeepsTheFirstFifteenBytes) {
  std::thread([] {
    AnnounceThreadName(::GetCurrentThreadId(), "Command processor thread");
    char name[16] = {};
    ::pthread_getname_np(::pthread_self(), name, sizeof(name));
    EXPECT_STREQ(name, "Command process");
    AnnounceThreadName(::GetCurrentThreadId(), nullptr);
    ::pthread_getname_np(::pthread_self(), name, sizeof(name));
    EXPECT_STREQ(name, "Command process");
  }).join();
}

#endif

}  // namespace
