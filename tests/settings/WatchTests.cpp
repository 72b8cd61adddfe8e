// SPDX-License-Identifier: MIT
#include "tests/settings/SettingsKit.h"
#include "tests/support/Engine.h"
#include "tests/support/Raises.h"
#include "tests/support/RegistryKit.h"
#include "tests/support/SystemCallOverride.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/errors/MError.h"
#include "velta/platform/internal/StorageCalls.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/settings/MFileWatch.h"
#include "velta/settings/MRegistryWatch.h"
#include "velta/settings/MSettingsFile.h"
#include "velta/text/StandardText.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;
using Velta::Platform::storageCalls;
using Velta::Platform::systemCalls;

/// Waits for the watch until it says that there was a change.
template <class Watch>
void AwaitChange(Watch& watch) {
  const Watchdog watchdog("a change");
  do {
    ASSERT_EQ(::WaitForSingleObject(watch.GetHandle(), INFINITE), WAIT_OBJECT_0);
  } while (!watch.HasChanged());
}

/// Waits for the watch until one more signal would be news.
template <class Watch>
void Settle(Watch& watch) {
  while (IsSignalled(watch.GetHandle())) {
    static_cast<void>(watch.HasChanged());
  }
}

/// As if it had been written long ago: so that the next write shows.
void MakeOld(const fs::path& path) {
  fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
}

class FileWatch : public testing::Test {
 protected:
  const TestFolder folder;
  const fs::path path = folder.path / fs::path(std::u8string(u8"settings \u00FC.xml"));
};

TEST_F(FileWatch, EveryKindOfChangeIsNoticed) {
  MFileWatch watch(path);
  EXPECT_FALSE(IsSignalled(watch.GetHandle()));
  EXPECT_FALSE(watch.HasChanged());
  const MSettingsFile file(path);
  const fs::path other = folder.path / "other";
  const std::pair<const char*, std::function<void()>> changes[] = {
      {"made", [&] { PutBytes(path, "1"); }},
      {"written in place, of the same size", [&] { PutBytes(path, "2"); }},
      {"saved", [&] { file.SaveBytes("3"); }},
      {"removed", [&] { fs::remove(path); }},
      {"saved where there was none", [&] { file.SaveBytes("4"); }},
      {"renamed", [&] { fs::rename(path, other); }},
      {"replaced by a rename", [&] { fs::rename(other, path); }},
  };
  for (const auto& [what, change] : changes) {
    SCOPED_TRACE(what);
    change();
    AwaitChange(watch);
  }
}

TEST_F(FileWatch, WhatElseChangesInTheFolderSignalsAndIsNoChange) {
  PutBytes(path, "1");
  MakeOld(path);
  MFileWatch watch(path);
  const Watchdog watchdog("a change of another file");
  PutBytes(folder.path / "other", "x");
  ASSERT_EQ(::WaitForSingleObject(watch.GetHandle(), INFINITE), WAIT_OBJECT_0);
  EXPECT_FALSE(watch.HasChanged());
  Settle(watch);
  PutBytes(path, "2");
  AwaitChange(watch);
}

TEST_F(FileWatch, AWriteThatLeavesTheSameStampIsNotMissed) {
  PutBytes(path, "1");
  static Velta::Platform::FileStamp stamp;
  ASSERT_EQ(storageCalls.stampFile.load()(path, &stamp), DWORD{ERROR_SUCCESS});
  ASSERT_TRUE(stamp.isFresh);
  const SystemCallOverride coarse(
      storageCalls.stampFile, +[](const fs::path&, Velta::Platform::FileStamp* result) {
        *result = stamp;
        return DWORD{ERROR_SUCCESS};
      });
  MFileWatch watch(path);
  PutBytes(path, "2");
  AwaitChange(watch);
}

TEST_F(FileWatch, AnEngineThreadLearnsOfEachSave) {
  const Watchdog watchdog("an engine thread and a watch");
  MFileWatch watch(path);
  const MSettingsFile file(path);
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
  const auto raises = [](const wchar_t* code, const fs::path& file, LONG error) {
    return RaisesWith(MString(L"MFileWatch.") + code,
                      AllOf(Contains(Pair(L"file", Velta::TextOf<fs::path>::Make(file))),
                            Contains(Pair(L"winErrorCode", std::to_wstring(error)))));
  };
  EXPECT_THAT([&] { const MFileWatch watch(folder.path / "."); },
              RaisesWith(L"MFileWatch.MFileWatch:BadPath", testing::SizeIs(1)));
  const fs::path lost = folder.path / "none" / "file";
  EXPECT_THAT([&] { const MFileWatch watch(lost); },
              raises(L"MFileWatch:WatchFailed", lost, ERROR_FILE_NOT_FOUND));
  {
    const SystemCallOverride fails(
        storageCalls.readLink, +[](const fs::path&, fs::path*) { return DWORD{ERROR_IO_DEVICE}; });
    EXPECT_THAT([&] { const MFileWatch watch(path); },
                raises(L"MFileWatch:LinkFailed", path, ERROR_IO_DEVICE));
  }
  MFileWatch watch(path);
  {
    const SystemCallOverride fails(
        storageCalls.stampFile,
        +[](const fs::path&, Velta::Platform::FileStamp*) { return DWORD{ERROR_IO_DEVICE}; });
    MFileWatch blind(path);
    PutBytes(path, "w");
    AwaitChange(blind);  // what is wrong shows when it is loaded
  }
  PutBytes(path, "x");
  const Watchdog watchdog("a signal");
  ASSERT_EQ(::WaitForSingleObject(watch.GetHandle(), INFINITE), WAIT_OBJECT_0);
  {
    const SystemCallOverride fails(
        storageCalls.watchAgain, +[](HANDLE) {
          ::SetLastError(ERROR_IO_DEVICE);
          return BOOL{FALSE};
        });
    EXPECT_THAT([&] { static_cast<void>(watch.HasChanged()); },
                raises(L"HasChanged:WatchFailed", path, ERROR_IO_DEVICE));
    EXPECT_TRUE(IsSignalled(watch.GetHandle()));
  }
  EXPECT_TRUE(watch.HasChanged());
}

class RegistryWatch : public testing::Test {
 protected:
  [[nodiscard]] MString KeyPath() const { return L"Software\\Velta\\" + application; }

  ~RegistryWatch() override {
#if defined(_WIN32)
    ::RegDeleteTreeW(HKEY_CURRENT_USER, KeyPath().c_str());
#endif
  }

  const TestRegistry registry;
  const MString application = UniqueKeyName();
};

TEST_F(RegistryWatch, WhatAFilerWritesIsNoticed) {
  MRegistryWatch watch(HKEY_CURRENT_USER, KeyPath());  // makes the key
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, KeyPath().c_str()), ERROR_SUCCESS);
  EXPECT_FALSE(watch.HasChanged());
  IOutFilerTaggedRegistry filer(application);
  const std::pair<const char*, std::function<bool()>> changes[] = {
      {"a value", [&] { return filer.WriteInt(L"Count", 1); }},
      {"the same again", [&] { return filer.WriteInt(L"Count", 2); }},
      {"a value in a new group",
       [&] { return filer.BeginGroup(L"Panel") && filer.WriteInt(L"Width", 1); }},
      {"a value in a group that is there", [&] { return filer.WriteInt(L"Width", 2); }},
      {"deep below",
       [&] { return filer.BeginGroup(L"A") && filer.BeginGroup(L"B") && filer.WriteInt(L"C", 1); }},
  };
  for (const auto& [what, change] : changes) {
    SCOPED_TRACE(what);
    ASSERT_TRUE(change());
    AwaitChange(watch);
    Settle(watch);
  }
}

TEST_F(RegistryWatch, TheThreadThatMadeItMayEnd) {
  const Watchdog watchdog("a change after the end of a thread");
  std::unique_ptr<MRegistryWatch> watch;
  std::thread([&] {
    watch = std::make_unique<MRegistryWatch>(HKEY_CURRENT_USER, KeyPath());
  }).join();
  IOutFilerTaggedRegistry filer(application);
  ASSERT_TRUE(filer.WriteInt(L"Count", 1));
  AwaitChange(*watch);
}

// Wine 8 signals the removal of what is below a key, Windows that of the key alone, too.
TEST_F(RegistryWatch, AKeyThatIsRemovedIsMadeAgainAndWatched) {
  {
    IOutFilerTaggedRegistry filer(application);
    ASSERT_TRUE(filer.BeginGroup(L"Panel") && filer.WriteInt(L"Width", 1));
  }
  MRegistryWatch watch(HKEY_CURRENT_USER, KeyPath());
#if defined(_WIN32)
  ASSERT_EQ(::RegDeleteTreeW(HKEY_CURRENT_USER, KeyPath().c_str()), ERROR_SUCCESS);
#else
  ASSERT_GT(fs::remove_all(registry.Store() / "HKEY_CURRENT_USER" / "software" / "velta"), 1U);
#endif
  AwaitChange(watch);
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, KeyPath().c_str()), ERROR_SUCCESS);
  Settle(watch);
  IOutFilerTaggedRegistry filer(application);
  ASSERT_TRUE(filer.WriteInt(L"Count", 1));
  AwaitChange(watch);
}

TEST_F(RegistryWatch, WhatCannotBeWatchedIsNamed) {
  const auto raises = [this](const wchar_t* code, LONG error) {
    return RaisesWith(MString(L"MRegistryWatch.") + code,
                      AllOf(Contains(Pair(L"key", KeyPath())),
                            Contains(Pair(L"winErrorCode", std::to_wstring(error)))));
  };
  const auto make = [this] { const MRegistryWatch watch(HKEY_CURRENT_USER, KeyPath()); };
  EXPECT_THAT([] { const MRegistryWatch watch(HKEY_CURRENT_USER, MString(L"a\0b", 3)); },
              RaisesWith(L"MRegistryWatch.MRegistryWatch:BadPath", testing::SizeIs(1)));
  EXPECT_THAT([this] { const MRegistryWatch watch(nullptr, KeyPath()); },
              raises(L"MRegistryWatch:OpenFailed", ERROR_INVALID_HANDLE));
  {
    const SystemCallOverride fails(
        systemCalls.createEvent, +[](BOOL, BOOL) {
          ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
          return HANDLE{nullptr};
        });
    EXPECT_THAT(make, RaisesWith(L"MRegistryWatch.MRegistryWatch:CreateEvent",
                                 ElementsAre(Pair(L"winErrorCode", L"8"))));
  }
  MRegistryWatch watch(HKEY_CURRENT_USER, KeyPath());
  IOutFilerTaggedRegistry filer(application);
  ASSERT_TRUE(filer.WriteInt(L"Count", 1));
  const Watchdog watchdog("a signal");
  ASSERT_EQ(::WaitForSingleObject(watch.GetHandle(), INFINITE), WAIT_OBJECT_0);
  {
    const SystemCallOverride fails(
        storageCalls.watchKey, +[](HKEY, HANDLE) { return LSTATUS{ERROR_NO_SYSTEM_RESOURCES}; });
    EXPECT_THAT(make, raises(L"MRegistryWatch:WatchFailed", ERROR_NO_SYSTEM_RESOURCES));
    EXPECT_THAT([&] { static_cast<void>(watch.HasChanged()); },
                raises(L"HasChanged:WatchFailed", ERROR_NO_SYSTEM_RESOURCES));
  }
  EXPECT_TRUE(watch.HasChanged()) << "it was not forgotten that there was a change";
}

}  // namespace
