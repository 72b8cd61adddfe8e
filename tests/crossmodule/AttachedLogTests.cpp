// SPDX-License-Identifier: MIT
#include "tests/crossmodule/Module.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <cstddef>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// Loaded once and for good: its log lives as long as the process.
const Module& SecondModule() {
  static const auto* const module = new Module(VELTA_TEST_SECOND_LOG);
  return *module;
}

/// Two logs in one process: the framework that this host links, and one that a module brought.
class TwoLogs : public ::testing::Test {
 protected:
  void SetUp() override {
    const Module& module = SecondModule();
    ASSERT_TRUE(module) << VELTA_TEST_SECOND_LOG;
    dumpSecond = module.Find<std::size_t(char*, std::size_t)>("DumpSecondLog");
    auto* secondLog = module.Find<MFlowLogger*()>("SecondLog");
    ASSERT_NE(dumpSecond, nullptr);
    ASSERT_NE(secondLog, nullptr);
    second = secondLog();
    ASSERT_NE(second, nullptr);
    ASSERT_NE(second, own);
    DumpOwn();
    DumpSecond();
  }

  std::string DumpOwn() {
    std::ostringstream stream;
    own->Dump(stream);
    return std::move(stream).str();
  }

  std::string DumpSecond() {
    std::string text(1 << 16, '\0');
    text.resize((std::min)(text.size(), dumpSecond(text.data(), text.size())));
    return text;
  }

  MFlowLogger* own = MFlowLogger::Instance();
  MFlowLogger* second = nullptr;
  std::size_t (*dumpSecond)(char*, std::size_t) = nullptr;
};

TEST_F(TwoLogs, AnAttachedLogHearsEventsUntilItIsDetached) {
  static MFlowPoint point(L"AttachedLogTests", L"Mirrored");

  point.At(this).LogTimingPoint(1, 10);
  own->Attach(second);
  point.At(this).LogTimingPoint(2, 20);
  own->Attach(nullptr);
  point.At(this).LogTimingPoint(3, 30);

  EXPECT_THAT(DumpSecond(), AllOf(HasSubstr("Log_module_added"), HasSubstr("Timing_point (2, 20)"),
                                  HasSubstr(" at Mirrored "), HasSubstr("Log_module_removed"),
                                  Not(HasSubstr("(1, 10)")), Not(HasSubstr("(3, 30)"))));
  EXPECT_THAT(DumpOwn(), AllOf(HasSubstr("Log_module_added"), HasSubstr("(1, 10)"),
                               HasSubstr("(2, 20)"), HasSubstr("(3, 30)")));
}

TEST_F(TwoLogs, WhatTheOtherModuleLogsStaysThere) {
  static MFlowPoint point(L"AttachedLogTests", L"Own");

  point.At(this).LogTimingPoint(4, 40);

  EXPECT_THAT(DumpSecond(), Not(HasSubstr("(4, 40)")));
  EXPECT_THAT(DumpOwn(), HasSubstr("(4, 40)"));
}

}  // namespace
