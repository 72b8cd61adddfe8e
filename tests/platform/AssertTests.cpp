// SPDX-License-Identifier: MIT
#include "velta/platform/internal/Assert.h"

#include <gtest/gtest.h>

namespace {

#if defined(VELTA_ASSERTIONS)

TEST(AssertDeathTest, AConditionThatDoesNotHoldIsNamedWithItsPlace) {
  VELTA_ASSERT(2 + 2 == 4);
  EXPECT_DEATH(VELTA_ASSERT(2 + 2 == 5), "AssertTests.cpp:.+: assertion failed: 2 \\+ 2 == 5");
}

#else

TEST(Assert, ConditionsAreNotEvaluatedInWhatIsHandedOut) {
  int evaluations = 0;
  VELTA_ASSERT(++evaluations < 0);
  EXPECT_EQ(evaluations, 0);
}

#endif

}  // namespace
