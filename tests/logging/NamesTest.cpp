// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "tests/support/Watchdog.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(KLoggerNames, FirstRegistrationOfAKeyStays) {
  KLogger log;
  for (const char* const name : {"first", "second"}) {
    KLogger::RegisterName(&log, 1, name);
    KLogger::RegisterStateName(&log, 1, 2, name);
    KLogger::RegisterObjectName(&log, Address(0xFFFFFFFF00000001), name);
    KLogger::RegisterThreadName(&log, 0xFFFFFFFF, name);
  }
  KLogger::RegisterMessageName(&log, 102, "third");  // states and messages share a table

  EXPECT_THAT(KLoggerProbe::Names(log), ElementsAre(Pair(1, "first")));
  EXPECT_THAT(KLoggerProbe::States(log), ElementsAre(Pair(102, "first")));
  EXPECT_THAT(KLoggerProbe::Objects(log), ElementsAre(Pair(0xFFFFFFFF00000001, "first")));
  EXPECT_THAT(KLoggerProbe::Threads(log), ElementsAre(Pair(-1, "first")));
}

TEST(KLoggerNames, MergingKeepsTheOtherLogsNames) {
  KLogger from;
  KLogger into;
  for (const auto& [log, name] : {std::pair(&into, "own"), std::pair(&from, "merged")}) {
    KLogger::RegisterName(log, 1, name);
    KLogger::RegisterMessageName(log, 1, name);
    KLogger::RegisterObjectName(log, Address(1), name);
    KLogger::RegisterThreadName(log, 1, name);
  }
  KLogger::RegisterName(&from, 2, "merged");
  KLogger::RegisterMessageName(&from, 2, "merged");
  KLogger::RegisterObjectName(&from, Address(2), "merged");
  KLogger::RegisterThreadName(&from, 2, "merged");

  from.MergeNamesInto(&into);
  from.MergeNamesInto(nullptr);
  from.MergeNamesInto(&from);

  EXPECT_THAT(KLoggerProbe::Names(into), ElementsAre(Pair(1, "own"), Pair(2, "merged")));
  EXPECT_THAT(KLoggerProbe::States(into), ElementsAre(Pair(1, "own"), Pair(2, "merged")));
  EXPECT_THAT(KLoggerProbe::Objects(into), ElementsAre(Pair(1, "own"), Pair(2, "merged")));
  EXPECT_THAT(KLoggerProbe::Threads(into), ElementsAre(Pair(1, "own"), Pair(2, "merged")));
  EXPECT_THAT(KLoggerProbe::Names(from), ElementsAre(Pair(1, "merged"), Pair(2, "merged")));
}

TEST(KLoggerNames, NullCoreIsIgnored) {
  KLogger::RegisterName(nullptr, 1, "name");
  KLogger::RegisterStateName(nullptr, 1, 1, "name");
  KLogger::RegisterMessageName(nullptr, 1, "name");
  KLogger::RegisterObjectName(nullptr, nullptr, "name");
  KLogger::RegisterThreadName(nullptr, 1, "name");
  EXPECT_FALSE(KLoggerProbe::Names(*KLogger::Instance()).contains(1));
}

TEST(KGuardedLock, LetsOneThreadInAtATimeAndItsOwnerAgain) {
  const Watchdog watchdog("a guarded lock");
  KGuardedLock lock;
  int inside = 0;
  const auto work = [&] {
    for (int i = 0; i < 10000; ++i) {
      lock.Enter();
      lock.Enter();
      ++inside;
      lock.Leave();
      lock.Leave();
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(inside, 20000);
}

TEST(KGuardedLock, IsIgnoredWhileNotInitialised) {
  const Watchdog watchdog("a lock that is not initialised");
  KGuardedLock lock;
  lock.Enter();
  KLoggerProbe::SetInitialised(lock, false);
  std::thread([&] {
    lock.Enter();  // would wait
    lock.Leave();
  }).join();
  KLoggerProbe::SetInitialised(lock, true);
  lock.Leave();
}

}  // namespace
