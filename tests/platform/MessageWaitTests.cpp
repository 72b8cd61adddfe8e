// SPDX-License-Identifier: MIT
// MsgWaitForMultipleObjectsEx.
#include "PlatformKit.h"
#include "tests/support/Watchdog.h"

#include <deque>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

DWORD WaitForAnyOrInput(DWORD count, const std::vector<HANDLE>& handles, DWORD milliseconds) {
  return ::MsgWaitForMultipleObjectsEx(count, handles.data(), milliseconds, QS_ALLINPUT,
                                       MWMO_INPUTAVAILABLE);
}

TEST(MsgWaitForMultipleObjectsEx, TakesNoneToSixtyThreeHandles) {
  std::deque<Event> events;
  std::vector<HANDLE> handles;
  for (int i = 0; i < 64; ++i) handles.push_back(events.emplace_back(Event::kAutomatic));

  ::SetEvent(handles[62]);
  EXPECT_EQ(WaitForAnyOrInput(63, handles, 1000), 62U);
  EXPECT_EQ(WaitForAnyOrInput(63, handles, 1), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(WaitForAnyOrInput(0, {}, 1), DWORD{WAIT_TIMEOUT});
  EXPECT_EQ(OutcomeOf([&] { return WaitForAnyOrInput(64, handles, 0); }),
            (Outcome{WAIT_FAILED, ERROR_INVALID_PARAMETER}));
  EXPECT_EQ(OutcomeOf([&] { return WaitForAnyOrInput(2, {handles[0], ClosedHandle()}, 0); }),
            (Outcome{WAIT_FAILED, ERROR_INVALID_HANDLE}));
}

TEST(MsgWaitForMultipleObjectsEx, ASetFromAnotherThreadEndsTheWait) {
  const Watchdog watchdog("a wait for events or input");
  const Event first(Event::kManual);
  const Event second(Event::kManual);
  std::thread setter([&] { ::SetEvent(second); });
  EXPECT_EQ(WaitForAnyOrInput(2, {first, second}, INFINITE), 1U);
  setter.join();
}

#if defined(_WIN32)
TEST(MsgWaitForMultipleObjectsEx, InputComesAfterEveryHandleAndStaysUntilPumped) {
  const Event event(Event::kAutomatic);
  MSG message;
  ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // makes the thread's queue
  ::PostThreadMessageW(::GetCurrentThreadId(), WM_APP, 0, 0);
  EXPECT_EQ(WaitForAnyOrInput(1, {event}, INFINITE), 1U);
  EXPECT_EQ(WaitForAnyOrInput(1, {event}, INFINITE), 1U);
  ::SetEvent(event);
  EXPECT_EQ(WaitForAnyOrInput(1, {event}, INFINITE), 0U);
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
  }
  EXPECT_EQ(WaitForAnyOrInput(1, {event}, 1), DWORD{WAIT_TIMEOUT});
}
#endif

}  // namespace
