// SPDX-License-Identifier: MIT
// Notifications of folders, and RegNotifyChangeKeyValue.
#include "PlatformKit.h"
#include "tests/support/RegistryKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"
#include "velta/platform/internal/StorageCalls.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

constexpr DWORD kAnyChange = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;

class Changes : public testing::Test {
 protected:
  Changes() { fs::create_directory(folder); }
  ~Changes() override { fs::remove_all(folder); }

  void MakeFile(const std::string& name) const { std::ofstream(folder / name) << "x"; }

  [[nodiscard]] static HANDLE Watch(const fs::path& path) {
    return Velta::Platform::storageCalls.watchFolder.load()(path);
  }

  static void Await(HANDLE handle) {
    ASSERT_EQ(::WaitForSingleObject(handle, INFINITE), WAIT_OBJECT_0);
  }

  const Watchdog watchdog{"changes"};
  const TestRegistry registry;
  const fs::path folder = fs::temp_directory_path() / UniqueKeyName();
};

// Windows and POSIX remember a change that comes before the next one is asked for; Wine 8 does not.
TEST_F(Changes, AChangeIsSignalledUntilTheNextIsAskedForAndNoneIsLost) {
  const HANDLE notification = Watch(folder);
  ASSERT_NE(notification, nullptr);
  EXPECT_FALSE(IsSignalled(notification));
  for (int i = 0; i < StressRounds(100); ++i) {
    MakeFile(std::to_string(2 * i));
    Await(notification);
#if !defined(_WIN32)
    MakeFile(std::to_string(2 * i + 1));
    EXPECT_TRUE(IsSignalled(notification));
    EXPECT_NE(::FindNextChangeNotification(notification), FALSE);
    Await(notification);
#endif
    EXPECT_TRUE(IsSignalled(notification));
    EXPECT_NE(::FindNextChangeNotification(notification), FALSE);
  }
  EXPECT_NE(::FindCloseChangeNotification(notification), FALSE);
}

TEST_F(Changes, WhatIsNoNotificationOrNoFolderIsRefused) {
  const Outcome refused{FALSE, ERROR_INVALID_HANDLE};
  const HANDLE closed = ClosedHandle();
  EXPECT_EQ(OutcomeOf([&] { return ::FindNextChangeNotification(closed); }), refused);
  EXPECT_EQ(OutcomeOf([&] { return ::FindCloseChangeNotification(closed); }), refused);
  EXPECT_EQ(Watch(folder / "none"), nullptr);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(Changes, AKeysEventIsSetWhenItIsClosed) {
  const Event event(Event::kAutomatic);
  {
    const TestKey key(HKEY_CURRENT_USER, L"Software\\" + UniqueKeyName(), KEY_READ,
                      TestKey::Afterwards::kIsRemoved);
    ASSERT_EQ(::RegNotifyChangeKeyValue(key, TRUE, kAnyChange, event, TRUE), ERROR_SUCCESS);
    EXPECT_FALSE(IsSignalled(event));
  }
  EXPECT_TRUE(IsSignalled(event));
  const TestKey other(HKEY_CURRENT_USER, L"Software\\" + UniqueKeyName(), KEY_QUERY_VALUE,
                      TestKey::Afterwards::kIsRemoved);
  EXPECT_EQ(::RegNotifyChangeKeyValue(other, TRUE, kAnyChange, event, TRUE), ERROR_ACCESS_DENIED);
  EXPECT_EQ(::RegNotifyChangeKeyValue(nullptr, TRUE, kAnyChange, event, TRUE),
            ERROR_INVALID_HANDLE);
}

#if !defined(_WIN32)
TEST_F(Changes, WatchesThatComeAndGoOnManyThreadsLeaveNothing) {
  const auto countDescriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = countDescriptors();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < StressRounds(200); ++i) {
        const HANDLE notification = Watch(folder);
        MakeFile(std::to_string(thread));
        Await(notification);
        EXPECT_NE(::FindCloseChangeNotification(notification), FALSE);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(countDescriptors(), before);
}

TEST_F(Changes, OfAFolderThatIsRemovedNothingMoreIsAwaited) {
  const HANDLE notification = Watch(folder);
  fs::remove_all(folder);
  do {
    Await(notification);
  } while (::FindNextChangeNotification(notification) != FALSE);
  EXPECT_EQ(::GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
  EXPECT_TRUE(IsSignalled(notification));
  ::FindCloseChangeNotification(notification);
}
#endif

}  // namespace
