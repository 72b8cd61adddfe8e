// SPDX-License-Identifier: MIT
#include "tests/settings/SettingsKit.h"
#include "tests/support/SystemCallOverride.h"
#include "tests/support/Watchdog.h"
#include "velta/platform/internal/StorageCalls.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/settings/MSettingsFile.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "tests/support/OrdinaryUser.h"

#include <sys/stat.h>
#endif

namespace {

namespace fs = std::filesystem;

using Velta::Platform::FileId;
using Velta::Platform::storageCalls;

int pausedMs = 0;
int callsToFail = 0;

/// Has a system call fail with `code`, so many times, as long as the result lives.
template <LONG code, class Result, class... Arguments>
std::shared_ptr<void> Fail(std::atomic<Result (*)(Arguments...)>& entry, int times = 1'000'000) {
  using Call = Result (*)(Arguments...);
  static Call original;
  original = entry.load();
  callsToFail = times;
  return std::make_shared<SystemCallOverride<Call>>(
      entry, +[](Arguments... arguments) -> Result {
        return callsToFail-- > 0 ? static_cast<Result>(code) : original(arguments...);
      });
}

/// A file in a folder of its own, with a name that is not ASCII.
class SettingsFile : public testing::Test {
 protected:
  SettingsFile() {
    pausedMs = 0;
    options.keepsPrevious = true;
  }

  [[nodiscard]] static MSettingsFileOptions Limited(std::uint64_t bytes) {
    MSettingsFileOptions limited;
    limited.maxBytes = bytes;
    return limited;
  }

  /// Expects an error with "file" and these parameters.
  template <class Action>
  void ExpectErrorOfFile(Action action, const wchar_t* code, std::map<MString, MString> more) {
    more[L"file"] = TextOfPath(path);
    ExpectError(action, MString(L"MSettingsFile.") + code, more);
  }

  const TestFolder folder;
  const fs::path path = folder.path / fs::path(std::u8string(u8"settings \u00FC\u20AC.xml"));
  const MSettingsFile file{path};
  MSettingsFileOptions options;
  std::optional<SystemCallOverride<Velta::Platform::StorageCalls::Pause>> noPause{
      std::in_place, storageCalls.pause,
      +[](DWORD milliseconds) { pausedMs += static_cast<int>(milliseconds); }};
};

TEST_F(SettingsFile, WhatIsSavedIsLoadedAndMissingIsNoError) {
  EXPECT_FALSE(file.LoadBytes());
  EXPECT_FALSE(MSettingsFile(folder.path / "none" / "file").LoadText());
  EXPECT_EQ(file.LoadFiler(L"Root", L"urn:a"), nullptr);
  for (const std::string& content : {std::string("first"), std::string(), std::string(200'000, 'x'),
                                     std::string("a\0\r\n", 4)}) {
    file.SaveBytes(content);
    EXPECT_EQ(file.LoadBytes(), content);
  }
  file.SaveText(L"\u00FC \u20AC");
  EXPECT_EQ(file.LoadBytes(), "\xC3\xBC \xE2\x82\xAC");
  EXPECT_EQ(file.LoadText(), L"\u00FC \u20AC");

  MOutFilerTaggedXml out(L"Root", L"urn:a");
  ASSERT_TRUE(out.WriteInt(L"Count", 42));
  file.SaveFiler(out);
  std::int32_t count = 0;
  EXPECT_TRUE(file.LoadFiler(L"Root", L"urn:a")->ReadInt(L"Count", &count, 0));
  EXPECT_EQ(count, 42);
  EXPECT_EQ(folder.Names().size(), 1U);
}

TEST_F(SettingsFile, WhatIsDamagedIsNamed) {
  const struct {
    const char* bytes;
    const wchar_t* code;
    std::map<MString, MString> parameters;
  } cases[] = {
      {"<a>\xFF", L"LoadText:NotText", {{L"encoding", L"UTF-8"}, {L"offset", L"3"}}},
      {"<?xml encoding='EBCDIC'?>", L"LoadText:UnknownEncoding", {{L"encoding", L"EBCDIC"}}},
      {"\n<Root>",
       L"LoadFiler:IllFormed",
       {{L"messages", L"Element 'Root' at offset 1 not ended"},
        {L"offset", L"1"},
        {L"line", L"2"},
        {L"column", L"1"}}},
      {"<Other/>",
       L"LoadFiler:OtherRoot",
       {{L"messages", L"Root element is not 'Root'"},
        {L"offset", L"0"},
        {L"line", L"1"},
        {L"column", L"1"}}},
      {"<Root xmlns='urn:b'/>",
       L"LoadFiler:OtherNamespace",
       {{L"messages", L"Namespace is not 'urn:a'"},
        {L"offset", L"0"},
        {L"line", L"1"},
        {L"column", L"1"}}},
  };
  for (const auto& damaged : cases) {
    PutBytes(path, damaged.bytes);
    ExpectErrorOfFile([&] { static_cast<void>(file.LoadFiler(L"Root", L"urn:a")); }, damaged.code,
                      damaged.parameters);
  }
}

TEST_F(SettingsFile, WhatCouldNotBeLoadedAgainIsNotSaved) {
  const MSettingsFile limited(path, Limited(100'000));
  limited.SaveBytes(std::string(100'000, 'x'));
  EXPECT_EQ(limited.LoadBytes()->size(), 100'000U);
  ExpectErrorOfFile([&] { limited.SaveBytes(std::string(100'001, 'y')); }, L"SaveBytes:TooLarge",
                    {{L"limit", L"100000"}, {L"stored", L"old"}});
  for (const auto& [text, encoding] :
       {std::pair(L"<?xml version='1.0' encoding='Latin1'?><a>\u00FC</a>", L"ISO-8859-1"),
        std::pair(L"\uFEFF<a/>", L"UTF-8")}) {
    ExpectErrorOfFile([&, value = text] { file.SaveText(value); }, L"SaveText:OtherEncoding",
                      {{L"encoding", encoding}, {L"stored", L"old"}});
  }
  ExpectError([&] { file.SaveText(MString(1, wchar_t(0xDC00))); }, L"Utf8.ToUtf8:MalformedText",
              {{L"offset", L"0"}});
  ExpectErrorOfFile([&] { file.SaveFiler(MOutFilerTaggedXml(L"no name", L"")); },
                    L"SaveFiler:NoDocument", {{L"stored", L"old"}});
  EXPECT_EQ(GetBytes(path), std::string(100'000, 'x'));

  PutBytes(path, std::string(100'001, 'z'));
  const auto load = [&] { static_cast<void>(limited.LoadBytes()); };
  ExpectErrorOfFile(load, L"LoadBytes:TooLarge", {{L"limit", L"100000"}});
  // A file that grows as fast as it is read.
  const SystemCallOverride grows(
      storageCalls.readFile, +[](FileId, void*, std::size_t size, std::size_t* length) {
        *length = size;
        return DWORD{ERROR_SUCCESS};
      });
  ExpectErrorOfFile(load, L"LoadBytes:TooLarge", {{L"limit", L"100000"}});
}

TEST_F(SettingsFile, APathThatNamesNoFileIsRefusedAndARelativeOneKeepsItsFolder) {
  for (const fs::path& bad : {fs::path(), fs::path("."), fs::path("a/.."), fs::path("a/"),
                              fs::path(std::string("a\0b", 3))}) {
    ExpectError([&] { const MSettingsFile none(bad); }, L"MSettingsFile.MSettingsFile:BadPath",
                {{L"file", TextOfPath(bad)}});
  }
  const fs::path before = fs::current_path();
  fs::current_path(folder.path);
  const MSettingsFile relative("relative");
  fs::current_path(before);
  relative.SaveBytes("here");
  EXPECT_EQ(GetBytes(folder.path / "relative"), "here");
}

TEST_F(SettingsFile, ThePreviousContentIsKeptWhenAskedFor) {
  const MSettingsFile keeping(path, options);
  keeping.SaveBytes("1");
  EXPECT_FALSE(fs::exists(keeping.GetPreviousPath()));
  keeping.SaveBytes("2");
  keeping.SaveBytes("3");
  EXPECT_EQ(GetBytes(keeping.GetPreviousPath()), "2");
}

TEST_F(SettingsFile, DraftsOfKilledWritersAreRemovedAndNothingElse) {
  const auto beside = [&](const char* suffix) {
    fs::path other = path;
    other += suffix;
    return other;
  };
  const fs::path abandoned = beside(".velta-0123456789abcdef.new");
  const fs::path used = beside(".velta-1123456789abcdef.new");
  const std::vector<fs::path> others{beside(".velta-0123456789abcdeg.new"), beside(".new"),
                                     beside(".velta-0123456789abcdef.newer"),
                                     beside("x.velta-0123456789abcdef.new")};
  PutBytes(abandoned, "x");
  for (const fs::path& other : others) {
    PutBytes(other, "x");
  }
  FileId draft = Velta::Platform::kNoFile;
  ASSERT_EQ(storageCalls.createFile.load()(used, nullptr, &draft), DWORD{ERROR_SUCCESS});
  file.SaveBytes("1");
  EXPECT_FALSE(fs::exists(abandoned));
  EXPECT_TRUE(fs::exists(used)) << "its writer is at work";
  storageCalls.closeFile.load()(draft);
  file.SaveBytes("2");
  EXPECT_FALSE(fs::exists(used));
  EXPECT_EQ(folder.Names().size(), 1 + others.size());
}

TEST_F(SettingsFile, WhatIsNoFileIsNeitherLoadedNorReplaced) {
  const Watchdog watchdog("what is no file");
  std::vector<std::function<void()>> makers{[&] { fs::create_directory(path); }};
#if !defined(_WIN32)
  makers.emplace_back([&] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); });
  makers.emplace_back([&] { fs::create_symlink("/dev/zero", path); });
#endif
  for (const std::function<void()>& make : makers) {
    make();
    ExpectErrorOfFile([&] { static_cast<void>(file.LoadBytes()); }, L"LoadBytes:NotAFile", {});
    ExpectErrorOfFile([&] { file.SaveBytes("x"); }, L"SaveBytes:NotAFile", {{L"stored", L"old"}});
    EXPECT_EQ(folder.Names().size(), 1U);
    fs::remove(path);
  }
}

TEST_F(SettingsFile, EveryStepThatFailsIsNamedAndOnlyTheLastOneLeavesTheNewFile) {
  const MSettingsFile keeping(path, options);
  keeping.SaveBytes("old");
  const auto save = [&] { file.SaveBytes("new"); };
  const auto saveAndKeep = [&] { keeping.SaveBytes("new"); };
  const auto load = [&] { static_cast<void>(file.LoadBytes()); };
  using Install = std::function<std::shared_ptr<void>()>;
  const struct {
    std::function<void()> action;
    const wchar_t* code;
    const wchar_t* systemCode;
    const wchar_t* stored;  // null for a load
    Install fail;
  } cases[] = {
      {load, L"LoadBytes:OpenFailed", L"5", nullptr,
       [] { return Fail<ERROR_ACCESS_DENIED>(storageCalls.openFile); }},
      {load, L"LoadBytes:ReadFailed", L"1117", nullptr,
       [] { return Fail<ERROR_IO_DEVICE>(storageCalls.readFile); }},
      {save, L"SaveBytes:LinkFailed", L"1117", L"old",
       [] { return Fail<ERROR_IO_DEVICE>(storageCalls.readLink); }},
      {save, L"SaveBytes:NotWritable", L"5", L"old",
       [] { return Fail<ERROR_ACCESS_DENIED>(storageCalls.checkFile); }},
      {save, L"SaveBytes:CreateFailed", L"5", L"old",
       [] { return Fail<ERROR_ACCESS_DENIED>(storageCalls.createFile); }},
      {save, L"SaveBytes:CreateFailed", L"80", L"old",
       [] { return Fail<ERROR_FILE_EXISTS>(storageCalls.createFile); }},
      {save, L"SaveBytes:WriteFailed", L"112", L"old",
       [] { return Fail<ERROR_DISK_FULL>(storageCalls.writeFile); }},
      {save, L"SaveBytes:FlushFailed", L"112", L"old",
       [] { return Fail<ERROR_DISK_FULL>(storageCalls.flushFile); }},
      {saveAndKeep, L"SaveBytes:KeepFailed", L"1117", L"old",
       [] { return Fail<ERROR_IO_DEVICE>(storageCalls.openFile); }},
      {saveAndKeep, L"SaveBytes:KeepFailed", L"1117", L"old",
       [] { return Fail<ERROR_IO_DEVICE>(storageCalls.readFile); }},
      {save, L"SaveBytes:ReplaceFailed", L"1117", L"old",
       [] { return Fail<ERROR_IO_DEVICE>(storageCalls.renameFile); }},
      {save, L"SaveBytes:FolderFlushFailed", L"1117", L"new",
       [] { return Fail<ERROR_IO_DEVICE>(storageCalls.flushName); }},
  };
  for (const auto& step : cases) {
    std::map<MString, MString> parameters{{L"winErrorCode", step.systemCode}};
    if (step.stored != nullptr) {
      parameters[L"stored"] = step.stored;
    }
    {
      const std::shared_ptr<void> failing = step.fail();
      ExpectErrorOfFile(step.action, step.code, parameters);
    }
    EXPECT_EQ(GetBytes(path), parameters[L"stored"] == L"new" ? "new" : "old");
    EXPECT_EQ(folder.Names().size(), 1U);
  }
  EXPECT_EQ(pausedMs, 0) << "none of these passes by itself";
}

TEST_F(SettingsFile, WhatMayPassIsTriedAgainAndABusyFileForTheWholePatience) {
  file.SaveBytes("old");
  {
    const auto busy = Fail<ERROR_SHARING_VIOLATION>(storageCalls.renameFile);
    ExpectErrorOfFile([&] { file.SaveBytes("new"); }, L"SaveBytes:ReplaceFailed",
                      {{L"winErrorCode", L"32"}, {L"stored", L"old"}});
    EXPECT_EQ(pausedMs, 2000);
  }
  EXPECT_EQ(folder.Names().size(), 1U);
  const auto saveAndLoad = [&](const char* content) {
    file.SaveBytes(content);
    EXPECT_EQ(file.LoadBytes(), content);
  };
  {
    const auto busy = Fail<ERROR_SHARING_VIOLATION>(storageCalls.renameFile, 10);
    saveAndLoad("1");
  }
  {
    const auto busy = Fail<ERROR_SHARING_VIOLATION>(storageCalls.openFile, 10);
    saveAndLoad("2");
  }
  {
    const auto taken = Fail<ERROR_FILE_EXISTS>(storageCalls.createFile, 3);  // the draft's name
    saveAndLoad("3");
  }
}

#if defined(_WIN32)
TEST_F(SettingsFile, AFileThatAnotherHasForItselfStaysAndAttributesDoToo) {
  constexpr DWORD kMarked = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
  file.SaveBytes("older");
  ASSERT_NE(::SetFileAttributesW(path.c_str(), kMarked), FALSE);
  file.SaveBytes("old");
  EXPECT_EQ(::GetFileAttributesW(path.c_str()) & kMarked, kMarked);

  const HANDLE other =
      ::CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  EXPECT_THROW(file.SaveBytes("new"), MException);
  EXPECT_EQ(pausedMs, 2000);
  ExpectErrorOfFile([&] { static_cast<void>(file.LoadBytes()); }, L"LoadBytes:OpenFailed",
                    {{L"winErrorCode", L"32"}});
  ::CloseHandle(other);
  EXPECT_EQ(file.LoadBytes(), "old");
  EXPECT_EQ(folder.Names().size(), 1U);
}
#else
TEST_F(SettingsFile, ALinkStaysALinkAndTheFileKeepsItsRightsFromTheFirstByteOn) {
  constexpr auto kPrivate = fs::perms::owner_read | fs::perms::owner_write;
  const fs::path target = folder.path / "\xFF target";  // a name is bytes
  PutBytes(target, "old");
  fs::permissions(target, kPrivate);
  fs::create_symlink(target.filename(), folder.path / "second");
  fs::create_symlink(folder.path / "second", path);
  static mode_t seen;
  static decltype(storageCalls.writeFile.load()) original;
  original = storageCalls.writeFile.load();
  {
    const SystemCallOverride look(
        storageCalls.writeFile, +[](FileId draft, const void* data, std::size_t size) {
          struct stat status{};
          EXPECT_EQ(::fstat(static_cast<int>(draft), &status), 0);
          seen = status.st_mode & 0777U;
          return original(draft, data, size);
        });
    file.SaveBytes("new");
  }
  EXPECT_EQ(seen, 0600U);
  EXPECT_TRUE(fs::is_symlink(path) && fs::is_symlink(folder.path / "second"));
  EXPECT_EQ(GetBytes(target), "new");
  EXPECT_EQ(fs::status(target).permissions(), kPrivate);

  fs::remove(target);
  EXPECT_FALSE(file.LoadBytes()) << "a link that leads nowhere";
  file.SaveBytes("made");
  EXPECT_EQ(GetBytes(target), "made");

  fs::remove(path);
  fs::create_symlink(path.filename(), path);
  ExpectErrorOfFile([&] { file.SaveBytes("never"); }, L"SaveBytes:LinkFailed",
                    {{L"winErrorCode", L"1921"}, {L"stored", L"old"}});
}

TEST_F(SettingsFile, WhatTheUserMayNotWriteIsNotReplaced) {
  file.SaveBytes("old");
  fs::permissions(folder.path, fs::perms::all);
  fs::permissions(path, fs::perms::owner_read);
  const auto save = [&] {
    const OrdinaryUser user;
    file.SaveBytes("new");
  };
  ExpectErrorOfFile(save, L"SaveBytes:NotWritable", {{L"winErrorCode", L"5"}, {L"stored", L"old"}});
  fs::permissions(path, fs::perms::all);
  constexpr auto kNoWriting =
      fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  fs::permissions(folder.path, kNoWriting, fs::perm_options::remove);
  ExpectErrorOfFile(save, L"SaveBytes:CreateFailed",
                    {{L"winErrorCode", L"5"}, {L"stored", L"old"}});
  fs::permissions(folder.path, fs::perms::all);
  EXPECT_EQ(file.LoadBytes(), "old");
}
#endif

TEST_F(SettingsFile, SaversAndLoadersAtOnceSeeWholeVersionsOnly) {
  const Watchdog watchdog("savers and loaders");
  noPause.reset();
  file.SaveBytes(ContentOf(0));
  std::vector<std::thread> savers;
  for (int first : {1, 1000}) {
    savers.emplace_back([&, first] {
      for (int version = first; version < first + 50; ++version) {
        MSettingsFile(path).SaveBytes(ContentOf(version));
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    const std::string content = MSettingsFile(path).LoadBytes().value();
    ASSERT_EQ(content, ContentOf(std::stoi(content)));
  }
  for (std::thread& saver : savers) {
    saver.join();
  }
  EXPECT_EQ(folder.Names().size(), 1U);
}

}  // namespace
