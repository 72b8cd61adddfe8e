// SPDX-License-Identifier: MIT
#include "tests/crossmodule/Module.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

TEST(CrossModule, TheLogOfAnotherModuleHearsEventsWhileItIsAttached) {
  // Loaded for good: its log lives as long as the process.
  static const auto& module = *new Module(VELTA_TEST_SECOND_LOG);
  ASSERT_TRUE(module) << VELTA_TEST_SECOND_LOG;
  auto* const dumpSecond = module.Find<std::size_t(char*, std::size_t)>("DumpSecondLog");
  auto* const secondLog = module.Find<MFlowLogger*()>("SecondLog");
  ASSERT_TRUE(dumpSecond != nullptr && secondLog != nullptr);
  MFlowLogger* const own = MFlowLogger::Instance();
  ASSERT_NE(secondLog(), own);
  static MFlowPoint point(L"AttachedLogTests", L"Mirrored");

  point.At(nullptr).LogTimingPoint(1, 10);
  own->Attach(secondLog());
  point.At(nullptr).LogTimingPoint(2, 20);
  own->Attach(nullptr);
  point.At(nullptr).LogTimingPoint(3, 30);

  std::ostringstream ownText;
  own->Dump(ownText);
  EXPECT_THAT(ownText.str(), AllOf(HasSubstr("Log_module_added"), HasSubstr("(1, 10)"),
                                   HasSubstr("(2, 20)"), HasSubstr("(3, 30)")));
  std::string secondText(1 << 16, '\0');
  secondText.resize(
      (std::min)(secondText.size(), dumpSecond(secondText.data(), secondText.size())));
  EXPECT_THAT(secondText, AllOf(HasSubstr("Log_module_added"), HasSubstr("Timing_point (2, 20)"),
                                HasSubstr(" at Mirrored "), HasSubstr("Log_module_removed"),
                                Not(HasSubstr("(1, 10)")), Not(HasSubstr("(3, 30)"))));
}

}  // namespace
