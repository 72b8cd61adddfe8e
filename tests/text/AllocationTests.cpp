// SPDX-License-Identifier: MIT
#include "tests/support/Allocations.h"
#include "velta/errors/MException.h"
#include "velta/text/MLocale.h"
#include "velta/text/NumberText.h"

#include <exception>
#include <new>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(MLocale, WithoutMemoryAFormatThrowsAndLeavesTheText) {
  Allocations::WithLittle([](int granted) {
    MString text = L"old";
    bool threw = false;
    const bool refused = Allocations::IsRefused(granted, [&] {
      try {
        MLocale::GetClassic().Format(text, L"%.0f", 1e300);
      } catch (const std::bad_alloc&) {
        threw = true;
      }
    });
    EXPECT_EQ(threw, refused);
    EXPECT_EQ(text.size(), refused ? 3u : 301u);
    return refused;
  });
}

TEST(MLocale, WithoutMemoryIsNotMadeAndLeavesNothing) {
  const auto isMade = [] {
    try {
      const MLocale locale(L"C");
      return true;
    } catch (const std::exception&) {
      return false;
    }
  };
  EXPECT_THROW(MLocale(L"no such name"), MException);  // the log keeps the error's name
  Allocations::WithLittle([&](int granted) {
    bool made = false;
    const bool refused = Allocations::IsRefused(granted, [&] { made = isMade(); });
    EXPECT_EQ(made, !refused);
    return refused;
  });
}

TEST(ToWide, WithoutMemoryThrowsWhatSaysSo) {
  const std::string narrow(1000, 'x');
  const int refusals = Allocations::RefuseEverywhere(
      [&] {
        try {
          static_cast<void>(ToWide(narrow));
        } catch (const MException& exception) {
          EXPECT_EQ(exception.GetError(0)->GetMessage(), L"Out of memory");
        }
      },
      1);
  EXPECT_GT(refusals, 0);
}

}  // namespace
