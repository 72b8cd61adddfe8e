// SPDX-License-Identifier: MIT
#include "tests/support/Allocations.h"
#include "velta/errors/MException.h"
#include "velta/text/MLocale.h"
#include "velta/text/NumberText.h"

#include <exception>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace {

/// Whether `action` ends, and not by an exception.
bool Succeeds(const std::function<void()>& action) {
  try {
    action();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

TEST(MLocale, WithoutMemoryAFormatLeavesTheTextAndALocaleIsNotMade) {
  Allocations::WithLittle([](int granted) {
    MString text = L"old";
    bool succeeded = false;
    const bool refused = Allocations::IsRefused(granted, [&] {
      succeeded = Succeeds([&] { MLocale::GetClassic().Format(text, L"%.0f", 1e300); });
    });
    EXPECT_EQ(succeeded, !refused);
    EXPECT_EQ(text.size(), refused ? 3u : 301u);
    return refused;
  });
  EXPECT_THROW(MLocale(L"no such name"), MException);  // the log keeps the error's name
  Allocations::WithLittle([](int granted) {
    bool succeeded = false;
    const bool refused = Allocations::IsRefused(
        granted, [&] { succeeded = Succeeds([] { const MLocale locale(L"C"); }); });
    EXPECT_EQ(succeeded, !refused);
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
