// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "tests/support/Allocations.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/logging/MKLoggerAdapter.h"
#include "velta/logging/internal/ErrorRing.h"
#include "velta/logging/internal/ProcessLog.h"

#include <cstdint>
#include <ios>
#include <map>
#include <ostream>
#include <streambuf>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace ProcessLog = Velta::Logging::ProcessLog;
using Allocations::RefuseEverywhere;
using testing::Contains;
using testing::Pair;
using Velta::Logging::ErrorRing;

const wchar_t ClassName[] = L"MJob";

TEST(LogAllocation, EventsNeedNone) {
  KLogger log;
  MKLoggerAdapter adapter(KLogger::Instance());
  MKLoggerAdapter other(&log);
  adapter.Attach(&other);
  MFlowPoint point(ClassName, L"Run");
  point.LogConstruction();  // whatever is made on first use
  Allocations::Reset();
  for (int i = 0; i < 1000; ++i) {
    point.At(&log).LogConstruction();
    point.At(&log).LogStateChange(1, 0);
    const MFlowScope scope = point.At(&log).OpenScope();
    adapter.LogEvent(9, 1, 2, 3, 4, &log);
    point.At(&log).LogDestruction();
  }
  EXPECT_EQ(Allocations::Count(), 0);
}

TEST(LogAllocation, NoneForAnErrorThatIsKeptNorForTheHistoryAsText) {
  const std::map<std::wstring, std::wstring> parameters = {{L"file", std::wstring(2000, L'x')}};
  class Nowhere : public std::streambuf {
    std::streamsize xsputn(const char*, std::streamsize length) override { return length; }
  } buffer;
  std::ostream stream(&buffer);
  Allocations::Reset();
  for (int i = 0; i < 300; ++i) {
    ErrorRing::Instance().Keep({.threadId = 1}, {ClassName, ClassName, L"code", parameters});
  }
  const bool isWritten = MErrorHistory::Dump(stream);
  EXPECT_EQ(Allocations::Count(), 0);
  EXPECT_TRUE(isWritten);
}

TEST(LogAllocation, RefusedWhileRegisteringOnlyLosesNames) {
  static const wchar_t longName[] = L"a name too long to fit into a string without an allocation";
  const int refused = RefuseEverywhere([] {
    KLogger* const log = KLogger::Instance();
    MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance();
    registry->RegisterClassName(longName, longName);
    registry->RegisterPointName(longName, longName + 1, longName);
    registry->RegisterObjectName(longName, longName);
    registry->RegisterStateName(longName, 1, longName);
    registry->RegisterErrorName(longName + 2, longName);
    registry->RegisterMessageName(1, longName);
    registry->RegisterThreadName(longName);
    KLogger::RegisterName(log, 1, "short");
    MFlowPoint(ClassName, longName).LogConstruction();
  });
  EXPECT_GT(refused, 5);
  EXPECT_THAT(KLoggerProbe::Names(*KLogger::Instance()), Contains(Pair(1, "short")));
}

TEST(LogAllocation, RefusedWhileMergingKeepsBothLogsUsable) {
  KLogger from;
  for (std::int32_t key = 0; key < 5; ++key) {
    KLogger::RegisterName(&from, key, "a name too long to fit into a string by itself");
    KLogger::RegisterMessageName(&from, key, "message");
  }
  KLogger into;
  const int refused = RefuseEverywhere([&] {
    from.MergeNamesInto(&into);  // goes on where the last one stopped
  });
  EXPECT_GT(refused, 3);
  EXPECT_EQ(KLoggerProbe::Names(into), KLoggerProbe::Names(from));
  EXPECT_EQ(KLoggerProbe::States(into), KLoggerProbe::States(from));
}

TEST(LogAllocation, RefusedOnFirstUseIsTriedAgain) {
  MFlowPoint point(nullptr, nullptr);
  KLogger* const core = ProcessLog::core.exchange(nullptr);
  MKLoggerAdapter* const adapter = ProcessLog::adapter.exchange(nullptr);
  MFlowLogger* const logger = ProcessLog::logger.exchange(nullptr);
  MDiagnosticsRegistry* const registry = ProcessLog::registry.exchange(nullptr);

  Allocations::Allow(0);
  const bool noneThere = KLogger::Instance() == nullptr && MKLoggerAdapter::Instance() == nullptr &&
                         MFlowLogger::Instance() == nullptr &&
                         MDiagnosticsRegistry::Instance() == nullptr;
  point.LogConstruction();
  Allocations::Allow(Allocations::kUnlimited);
  EXPECT_TRUE(noneThere);
  const int refused = RefuseEverywhere([&point] { point.LogConstruction(); });
  EXPECT_GT(refused, 18);  // the names of the events alone

  EXPECT_EQ(KLoggerProbe::Counter(*KLogger::Instance()), 1U + 2U);  // the last one was logged

  delete ProcessLog::registry.exchange(registry);
  delete ProcessLog::logger.exchange(logger);
  delete MKLoggerAdapter::Instance();
  ProcessLog::adapter.store(adapter);
  delete ProcessLog::core.exchange(core);
}

}  // namespace
