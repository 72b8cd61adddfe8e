// SPDX-License-Identifier: MIT
// CoInitializeEx, CoUninitialize.
#include "PlatformKit.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(CoInitialize, TellsTheFirstCallOnAThreadFromNestedOnes) {
  const auto check = [] {
    for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
      EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
      ::CoUninitialize();
      ::CoUninitialize();
    }
  };
  check();
  std::thread(check).join();
}

}  // namespace
