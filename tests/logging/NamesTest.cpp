// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "tests/support/Watchdog.h"

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;

// One name of each kind.
void Register(KLogger* log, std::int32_t key, const char* name) {
  KLogger::RegisterName(log, key, name);
  KLogger::RegisterStateName(log, 1, key, name);
  KLogger::RegisterObjectName(log, Address(0xFFFFFFFF00000000 + static_cast<std::uint32_t>(key)),
                              name);
  KLogger::RegisterThreadName(log, static_cast<std::uint32_t>(-key), name);
}

TEST(KLoggerNames, TheFirstOfAKeyStaysAlsoWhenLogsAreMerged) {
  KLogger from;
  KLogger into;
  Register(&into, 1, "own");
  Register(&into, 1, "second");
  KLogger::RegisterMessageName(&into, 101, "third");  // states and messages share a table
  Register(&from, 1, "merged");
  Register(&from, 2, "merged");
  KLogger::RegisterMessageName(&from, 103, "message");

  from.MergeNamesInto(&into);
  from.MergeNamesInto(nullptr);
  from.MergeNamesInto(&from);

  EXPECT_THAT(KLoggerProbe::Names(into), ElementsAre(Pair(1, "own"), Pair(2, "merged")));
  EXPECT_THAT(KLoggerProbe::States(into),
              ElementsAre(Pair(101, "own"), Pair(102, "merged"), Pair(103, "message")));
  EXPECT_THAT(KLoggerProbe::Objects(into),
              ElementsAre(Pair(0xFFFFFFFF00000001, "own"), Pair(0xFFFFFFFF00000002, "merged")));
  EXPECT_THAT(KLoggerProbe::Threads(into), ElementsAre(Pair(-2, "merged"), Pair(-1, "own")));
  EXPECT_THAT(KLoggerProbe::Names(from), ElementsAre(Pair(1, "merged"), Pair(2, "merged")));
}

TEST(KLoggerNames, NullCoreIsIgnored) {
  Register(nullptr, 1, "name");
  KLogger::RegisterMessageName(nullptr, 1, "name");
  EXPECT_FALSE(KLoggerProbe::Names(*KLogger::Instance()).contains(1));
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
