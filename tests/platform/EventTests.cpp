// SPDX-License-Identifier: MIT
// CreateEventW, SetEvent, ResetEvent, CloseHandle.
#include "PlatformKit.h"

#include <gtest/gtest.h>

namespace {

TEST(CreateEventW, TheFirstStateIsTheOneAskedFor) {
  for (const Event::Reset reset : {Event::kManual, Event::kAutomatic}) {
    EXPECT_TRUE(IsSignalled(Event(reset, true)));
    EXPECT_FALSE(IsSignalled(Event(reset, false)));
  }
}

TEST(CreateEventW, SuccessClearsTheLastError) {
  ::SetLastError(kUntouched);
  const Event event(Event::kManual);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_SUCCESS});
}

TEST(SetEvent, AManualEventStaysSetUntilReset) {
  const Event event(Event::kManual);
  EXPECT_EQ(OutcomeOf([&] { return ::SetEvent(event); }), (Outcome{TRUE, kUntouched}));
  EXPECT_TRUE(IsSignalled(event));
  EXPECT_TRUE(IsSignalled(event));
  EXPECT_EQ(OutcomeOf([&] { return ::ResetEvent(event); }), (Outcome{TRUE, kUntouched}));
  EXPECT_FALSE(IsSignalled(event));
}

TEST(SetEvent, AnAutomaticEventIsOneSignalHoweverOftenSet) {
  const Event event(Event::kAutomatic);
  ::SetEvent(event);
  ::SetEvent(event);
  EXPECT_TRUE(IsSignalled(event));
  EXPECT_FALSE(IsSignalled(event));
  ::SetEvent(event);
  ::ResetEvent(event);
  EXPECT_FALSE(IsSignalled(event));
}

TEST(EventHandles, WhatIsNoEventIsRefusedByEveryCall) {
  const Outcome refused{FALSE, ERROR_INVALID_HANDLE};
  const HANDLE garbage = reinterpret_cast<HANDLE>(std::uintptr_t{0x00ABCDE0});
  for (const HANDLE handle : {HANDLE{nullptr}, ClosedHandle(), garbage}) {
    EXPECT_EQ(OutcomeOf([&] { return ::SetEvent(handle); }), refused);
    EXPECT_EQ(OutcomeOf([&] { return ::ResetEvent(handle); }), refused);
    EXPECT_EQ(OutcomeOf([&] { return ::CloseHandle(handle); }), refused);
  }
}

}  // namespace
