// SPDX-License-Identifier: MIT
#include "tests/settings/SettingsKit.h"
#include "tests/support/Allocations.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/settings/MFileWatch.h"
#include "velta/settings/MRegistryWatch.h"
#include "velta/settings/MSettingsFile.h"

#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// Runs `action` with more and more memory, one refusal each time, and `check` after each.
template <class Action, class Check>
void RefuseOneByOne(Action action, Check check) {
  constexpr int kOnce = 1;  // so that there is memory for the error
  bool failed = false;
  const int refusals = Allocations::RefuseEverywhere(
      [&] {
        failed = false;
        try {
          action();
        } catch (const std::bad_alloc&) {
          failed = true;
        } catch (const MException& exception) {
          failed = true;
          const MError& error = *exception.GetError(0);
          const auto code = error.GetParameters().find(L"winErrorCode");
          EXPECT_TRUE(error.GetMessage() == L"Out of memory" ||
                      (code != error.GetParameters().end() && code->second == L"8"));
        }
        Allocations::Allow(Allocations::kUnlimited);
        check(failed);
      },
      kOnce);
  EXPECT_GT(refusals, 0);
  EXPECT_FALSE(failed);
}

TEST(Settings, WithoutMemoryAFileStaysAndNothingIsLeftBesideIt) {
  const TestFolder folder;
  MSettingsFileOptions options;
  options.keepsPrevious = true;
  const MSettingsFile file(folder.path / "settings.xml", options);
  int attempt = 0;
  file.SaveText(L"old");
  file.SaveText(L"0");
  std::string stored = "0";
  RefuseOneByOne([&] { file.SaveText(std::to_wstring(++attempt)); },
                 [&](bool failed) {
                   stored = failed ? stored : std::to_string(attempt);
                   ASSERT_EQ(GetBytes(file.GetPath()), stored);
                   ASSERT_EQ(folder.Names().size(), 2U);
                 });
  EXPECT_EQ(stored, std::to_string(attempt));
  RefuseOneByOne([&] { EXPECT_EQ(file.LoadText(), std::to_wstring(attempt)); }, [](bool) {});
}

TEST(Settings, WithoutMemoryNothingIsWatched) {
  const TestFolder folder;
  [[maybe_unused]] const TestRegistry registry;
  RefuseOneByOne([&] { EXPECT_FALSE(MFileWatch(folder.path / "file").HasChanged()); }, [](bool) {});
  const MString key = L"Software\\" + UniqueKeyName();
  RefuseOneByOne([&] { EXPECT_FALSE(MRegistryWatch(HKEY_CURRENT_USER, key).HasChanged()); },
                 [](bool) {});
#if defined(_WIN32)
  ::RegDeleteTreeW(HKEY_CURRENT_USER, key.c_str());
#endif
}

}  // namespace
