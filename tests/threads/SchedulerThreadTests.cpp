// SPDX-License-Identifier: MIT
#include "tests/support/LoggedEvents.h"
#include "tests/support/Raises.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/threads/MSchedulerThread.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

TEST(SchedulerThread, ServesWhatWasRegisteredFirstOneEventARoundAndRegistersNothingMeanwhile) {
  const Watchdog watchdog("a scheduler thread");
  const TestEvent first(false);
  const TestEvent second(false);
  const TestEvent done;
  std::string order;
  MSchedulerThread scheduler(nullptr);  // still runs when it is destroyed
  scheduler.RegisterSchedulerEvent(first.Handle(), new Callback([&] {
                                     order += " first";
                                     if (order == " first") {
                                       first.Set();  // before the second again
                                     }
                                   }));
  scheduler.Start();
  const auto registerSecond = [&] {
    scheduler.RegisterSchedulerEvent(second.Handle(), new Callback([&] {
                                       order += " second";
                                       done.Set();
                                     }));
  };
  EXPECT_THAT(registerSecond, Raises(L"MSchedulerThread.RegisterSchedulerEvent:ThreadRunning"));
  second.Set();
  scheduler.Flush();
  scheduler.Stop();
  EXPECT_TRUE(IsSignalled(second.Handle()));  // nobody was there to take it

  registerSecond();
  second.Set();
  first.Set();
  scheduler.Start();
  done.Wait();
  EXPECT_EQ(order, " first first second");
}

TEST(SchedulerThread, IsNamedAndInAnApartmentAsLongAsItsBodyRuns) {
  const Watchdog watchdog("a scheduler thread");
  MSchedulerThread scheduler(nullptr);
  const TestEvent event(false);
  const TestEvent called;
  HRESULT entered = S_OK;
  scheduler.RegisterSchedulerEvent(event.Handle(), new Callback([&] {
                                     entered = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
                                     ::CoUninitialize();
                                     called.Set();
                                   }));
  const std::vector<LoggedEvent> events = LogDuring([&] {
    scheduler.Start();
    event.Set();
    called.Wait();
    scheduler.Stop();
  });
  EXPECT_EQ(entered, S_FALSE);  // it was in one already
  EXPECT_THAT(events, LoggedInOrder(std::vector<std::string>{
                          "Scope_push MSchedulerThread.ThreadFunction",
                          "Timing_point (0, 0) MEngineThread.SignalThreadStarted",
                          "Timing_point (0, 0) MEngineThread.WaitForEvents",
                          "Destruction GenericGuard.~GenericGuard",
                          "Scope_pop MSchedulerThread.ThreadFunction"}));
  EXPECT_THAT(events,
              testing::Contains(testing::Field(&LoggedEvent::threadName, "Scheduler thread")));
}

}  // namespace
