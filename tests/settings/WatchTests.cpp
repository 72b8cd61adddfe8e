// SPDX-License-Identifier: MIT
#include "tests/settings/SettingsKit.h"
#include "tests/support/Engine.h"
#include "tests/support/RegistryKit.h"
#include "tests/support/SystemCallOverride.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/platform/internal/StorageCalls.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/settings/MFileWatch.h"
#include "velta/settings/MRegistryWatch.h"
#include "velta/settings/MSettingsFile.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

using Velta::Platform::FileStamp;
using Velta::Platform::storageCalls;

void AwaitSignal(HANDLE handle) {
  ASSERT_EQ(::WaitForSingleObject(handle, INFINITE), WAIT_OBJECT_0);
}

/// Waits for the watch until it says that there was a change.
template <class Watch>
void AwaitChange(Watch& watch) {
  do {
    AwaitSignal(watch.GetHandle());
  } while (!watch.HasChanged());
}

/// Makes each change, and waits for it.
template <class Watch>
void ExpectNoticed(Watch& watch,
                   std::initializer_list<std::pair<const char*, std::function<void()>>> changes) {
  for (const auto& [what, change] : changes) {
    SCOPED_TRACE(what);
    change();
    AwaitChange(watch);
  }
}

class FileWatch : public testing::Test {
 protected:
  const Watchdog watchdog{"watching a file"};
  const TestFolder folder;
  const fs::path path = folder.path / fs::path(std::u8string(u8"settings \u00FC.xml"));
  const MSettingsFile file{path};
};

TEST_F(FileWatch, EveryKindOfChangeIsNoticed) {
  MFileWatch watch(path);
  EXPECT_FALSE(IsSignalled(watch.GetHandle()) || watch.HasChanged());
  const fs::path other = folder.path / "other";
  ExpectNoticed(watch, {
                           {"made", [&] { PutBytes(path, "1"); }},
                           {"written in place, of the same size", [&] { PutBytes(path, "2"); }},
                           {"saved", [&] { file.SaveBytes("3"); }},
                           {"removed", [&] { fs::remove(path); }},
                           {"saved where there was none", [&] { file.SaveBytes("4"); }},
                           {"renamed", [&] { fs::rename(path, other); }},
                           {"replaced by a rename", [&] { fs::rename(other, path); }},
                       });
}

TEST_F(FileWatch, WhatElseChangesInTheFolderSignalsAndIsNoChange) {
  PutBytes(path, "1");
  fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
  MFileWatch watch(path);
  PutBytes(folder.path / "other", "x");
  AwaitSignal(watch.GetHandle());
  EXPECT_FALSE(watch.HasChanged());
  PutBytes(path, "2");
  AwaitChange(watch);
}

TEST_F(FileWatch, AWriteThatLeavesTheSameStampIsNotMissed) {
  PutBytes(path, "1");
  static FileStamp stamp;
  ASSERT_EQ(storageCalls.stampFile.load()(path, &stamp), DWORD{ERROR_SUCCESS});
  const SystemCallOverride coarse(
      storageCalls.stampFile, +[](const fs::path&, FileStamp* result) {
        *result = stamp;
        return DWORD{ERROR_SUCCESS};
      });
  MFileWatch watch(path);
  PutBytes(path, "2");
  AwaitChange(watch);
}

TEST_F(FileWatch, AnEngineThreadLearnsOfEachSave) {
  MFileWatch watch(path);
  const TestEvent seen(false);
  Engine engine;
  std::string loaded;
  engine.AddEvent(watch.GetHandle(), new Callback([&] {
                    if (watch.HasChanged() && file.LoadBytes() != loaded) {
                      loaded = *file.LoadBytes();
                      seen.Set();
                    }
                  }));
  engine.Start();
  for (const char* const content : {"1", "2", "3"}) {
    file.SaveBytes(content);
    seen.Wait();
  }
  engine.Stop();
  EXPECT_EQ(loaded, "3");
}

TEST_F(FileWatch, WhatCannotBeWatchedIsNamed) {
  const auto expect = [](auto action, const wchar_t* code, const fs::path& of, LONG error) {
    ExpectError(action, MString(L"MFileWatch.") + code,
                {{L"file", TextOfPath(of)}, {L"winErrorCode", std::to_wstring(error)}});
  };
  ExpectError([&] { const MFileWatch watch(folder.path / "."); }, L"MFileWatch.MFileWatch:BadPath",
              {{L"file", TextOfPath(folder.path / ".")}});
  const fs::path lost = folder.path / "none" / "file";
  expect([&] { const MFileWatch watch(lost); }, L"MFileWatch:WatchFailed", lost,
         ERROR_FILE_NOT_FOUND);
  {
    const SystemCallOverride fails(
        storageCalls.readLink, +[](const fs::path&, fs::path*) { return DWORD{ERROR_IO_DEVICE}; });
    expect([&] { const MFileWatch watch(path); }, L"MFileWatch:LinkFailed", path, ERROR_IO_DEVICE);
  }
  {
    const SystemCallOverride fails(
        storageCalls.stampFile,
        +[](const fs::path&, FileStamp*) { return DWORD{ERROR_IO_DEVICE}; });
    MFileWatch blind(path);
    PutBytes(path, "1");
    AwaitChange(blind);  // what is wrong shows when it is loaded
  }
  MFileWatch watch(path);
  PutBytes(path, "12");
  AwaitSignal(watch.GetHandle());
  {
    const SystemCallOverride fails(
        storageCalls.watchAgain, +[](HANDLE) {
          ::SetLastError(ERROR_IO_DEVICE);
          return BOOL{FALSE};
        });
    expect([&] { static_cast<void>(watch.HasChanged()); }, L"HasChanged:WatchFailed", path,
           ERROR_IO_DEVICE);
    EXPECT_TRUE(IsSignalled(watch.GetHandle()));
  }
  EXPECT_TRUE(watch.HasChanged());
}

class RegistryWatch : public testing::Test {
 protected:
#if defined(_WIN32)
  ~RegistryWatch() override { ::RegDeleteTreeW(HKEY_CURRENT_USER, keyPath.c_str()); }
#endif

  const Watchdog watchdog{"watching a key"};
  const TestRegistry registry;
  const MString application = UniqueKeyName();
  const MString keyPath = L"Software\\Velta\\" + application;
};

// Made by a thread that ends.
TEST_F(RegistryWatch, WhatAFilerWritesIsNoticed) {
  std::unique_ptr<MRegistryWatch> watch;
  std::thread([&] { watch = std::make_unique<MRegistryWatch>(HKEY_CURRENT_USER, keyPath); }).join();
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, keyPath.c_str()), ERROR_SUCCESS);
  EXPECT_FALSE(watch->HasChanged());
  IOutFilerTaggedRegistry filer(application);
  ExpectNoticed(*watch, {
                            {"a value", [&] { ASSERT_TRUE(filer.WriteInt(L"Count", 1)); }},
                            {"another", [&] { ASSERT_TRUE(filer.WriteInt(L"Count", 2)); }},
                            {"a new group",
                             [&] {
                               ASSERT_TRUE(filer.BeginGroup(L"A") && filer.BeginGroup(L"B") &&
                                           filer.WriteInt(L"Width", 1));
                             }},
                            {"a value in it", [&] { ASSERT_TRUE(filer.WriteInt(L"Width", 2)); }},
                        });
}

// Wine 8 signals the removal of what is below a key, Windows that of the key alone, too.
TEST_F(RegistryWatch, AKeyThatIsRemovedIsMadeAgainAndWatched) {
  ASSERT_EQ(Created(HKEY_CURRENT_USER, (keyPath + L"\\Panel").c_str()), ERROR_SUCCESS);
  MRegistryWatch watch(HKEY_CURRENT_USER, keyPath);
#if defined(_WIN32)
  ASSERT_EQ(::RegDeleteTreeW(HKEY_CURRENT_USER, keyPath.c_str()), ERROR_SUCCESS);
#else
  ASSERT_GT(fs::remove_all(registry.Store() / "HKEY_CURRENT_USER" / "software" / "velta"), 1U);
#endif
  AwaitChange(watch);
  while (IsSignalled(watch.GetHandle())) {
    static_cast<void>(watch.HasChanged());
  }
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, keyPath.c_str()), ERROR_SUCCESS);
  IOutFilerTaggedRegistry filer(application);
  ASSERT_TRUE(filer.WriteInt(L"Count", 1));
  AwaitChange(watch);
}

TEST_F(RegistryWatch, WhatCannotBeWatchedIsNamed) {
  const auto expect = [this](auto action, const wchar_t* code, LONG error) {
    ExpectError(action, MString(L"MRegistryWatch.") + code,
                {{L"key", keyPath}, {L"winErrorCode", std::to_wstring(error)}});
  };
  const auto make = [this] { const MRegistryWatch watch(HKEY_CURRENT_USER, keyPath); };
  ExpectError([] { const MRegistryWatch watch(HKEY_CURRENT_USER, MString(L"a\0b", 3)); },
              L"MRegistryWatch.MRegistryWatch:BadPath", {{L"key", MString(L"a\0b", 3)}});
  expect([this] { const MRegistryWatch watch(nullptr, keyPath); }, L"MRegistryWatch:OpenFailed",
         ERROR_INVALID_HANDLE);
  {
    const SystemCallOverride fails(
        Velta::Platform::systemCalls.createEvent, +[](BOOL, BOOL) {
          ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
          return HANDLE{nullptr};
        });
    ExpectError(make, L"MRegistryWatch.MRegistryWatch:CreateEvent", {{L"winErrorCode", L"8"}});
  }
  MRegistryWatch watch(HKEY_CURRENT_USER, keyPath);
  IOutFilerTaggedRegistry filer(application);
  ASSERT_TRUE(filer.WriteInt(L"Count", 1));
  AwaitSignal(watch.GetHandle());
  {
    const SystemCallOverride fails(
        storageCalls.watchKey, +[](HKEY, HANDLE) { return LSTATUS{ERROR_NO_SYSTEM_RESOURCES}; });
    expect(make, L"MRegistryWatch:WatchFailed", ERROR_NO_SYSTEM_RESOURCES);
    expect([&] { static_cast<void>(watch.HasChanged()); }, L"HasChanged:WatchFailed",
           ERROR_NO_SYSTEM_RESOURCES);
  }
  EXPECT_TRUE(watch.HasChanged()) << "it was not forgotten that there was a change";
}

}  // namespace
