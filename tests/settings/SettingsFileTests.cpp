// SPDX-License-Identifier: MIT
#include "tests/settings/SettingsKit.h"
#include "tests/support/Raises.h"
#include "tests/support/SystemCallOverride.h"
#include "tests/support/Watchdog.h"
#include "velta/errors/MError.h"
#include "velta/platform/internal/StorageCalls.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/settings/MSettingsFile.h"
#include "velta/text/StandardText.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "tests/support/OrdinaryUser.h"

#include <csignal>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;
using Velta::Platform::FileId;
using Velta::Platform::storageCalls;

MString TextOfPath(const fs::path& path) { return Velta::TextOf<fs::path>::Make(path); }

/// A file in a folder of its own, and what is expected of it.
class SettingsFile : public testing::Test {
 protected:
  [[nodiscard]] auto RaisesOfFile(const MString& code) const {
    return RaisesWith(L"MSettingsFile." + code, ElementsAre(Pair(L"file", TextOfPath(path))));
  }

  /// With the system's code, and the state of the file after it.
  [[nodiscard]] auto RaisesOfSystem(const MString& code, LONG error,
                                    const MString& stored = L"old") const {
    return RaisesWith(L"MSettingsFile." + code,
                      AllOf(Contains(Pair(L"file", TextOfPath(path))),
                            Contains(Pair(L"winErrorCode", std::to_wstring(error))),
                            Contains(Pair(L"stored", stored))));
  }

  const TestFolder folder;
  const fs::path path = folder.path / fs::path(std::u8string(u8"settings \u00FC\u20AC.xml"));
  const MSettingsFile file{path};
};

TEST_F(SettingsFile, WhatIsSavedIsLoadedAndMissingIsNoError) {
  EXPECT_FALSE(file.LoadBytes());
  EXPECT_FALSE(MSettingsFile(folder.path / "none" / "file").LoadText());
  for (const std::string& content : {std::string("first"), std::string(), std::string(200'000, 'x'),
                                     std::string("a\0\r\n", 4)}) {
    file.SaveBytes(content);
    EXPECT_EQ(file.LoadBytes(), content);
  }
  file.SaveText(L"\u00FC \u20AC");
  EXPECT_EQ(file.LoadBytes(), "\xC3\xBC \xE2\x82\xAC");
  EXPECT_EQ(file.LoadText(), L"\u00FC \u20AC");
  EXPECT_EQ(folder.Names().size(), 1U);
}

TEST_F(SettingsFile, ADocumentGoesThroughTheFilers) {
  EXPECT_EQ(file.LoadFiler(L"Root", L"urn:a"), nullptr);
  MOutFilerTaggedXml out(L"Root", L"urn:a");
  ASSERT_TRUE(out.WriteInt(L"Count", 42));
  file.SaveFiler(out);
  const auto in = file.LoadFiler(L"Root", L"urn:a");
  std::int32_t count = 0;
  EXPECT_TRUE(in->ReadInt(L"Count", &count, 0));
  EXPECT_EQ(count, 42);

  const auto raises = [&](const wchar_t* code, const wchar_t* messages) {
    return RaisesWith(
        MString(L"MSettingsFile.LoadFiler:") + code,
        AllOf(Contains(Pair(L"file", TextOfPath(path))), Contains(Pair(L"messages", messages)),
              Contains(Pair(L"line", L"2")), Contains(Pair(L"column", L"1"))));
  };
  EXPECT_THAT([&] { static_cast<void>(file.LoadFiler(L"Other", L"urn:a")); },
              raises(L"OtherRoot", L"Root element is not 'Other'"));
  EXPECT_THAT([&] { static_cast<void>(file.LoadFiler(L"Root", L"urn:b")); },
              raises(L"OtherNamespace", L"Namespace is not 'urn:b'"));
  PutBytes(path, "\n<Root>");
  EXPECT_THAT([&] { static_cast<void>(file.LoadFiler(L"Root", L"")); },
              raises(L"IllFormed", L"Element 'Root' at offset 1 not ended"));
  EXPECT_THAT([&] { file.SaveFiler(MOutFilerTaggedXml(L"no name", L"")); },
              RaisesWith(L"MSettingsFile.SaveFiler:NoDocument", testing::SizeIs(2)));
}

TEST_F(SettingsFile, WhatIsNoTextIsRefusedInBothDirections) {
  PutBytes(path, "<a>\xFF");
  EXPECT_THAT([&] { static_cast<void>(file.LoadText()); },
              RaisesWith(L"MSettingsFile.LoadText:NotText",
                         ElementsAre(Pair(L"encoding", L"UTF-8"), Pair(L"file", TextOfPath(path)),
                                     Pair(L"offset", L"3"))));
  PutBytes(path, "<?xml encoding='EBCDIC'?>");
  EXPECT_THAT(
      [&] { static_cast<void>(file.LoadText()); },
      RaisesWith(L"MSettingsFile.LoadText:UnknownEncoding",
                 ElementsAre(Pair(L"encoding", L"EBCDIC"), Pair(L"file", TextOfPath(path)))));
  for (const MString& text :
       {MString(L"<?xml version='1.0' encoding='Latin1'?><a>\u00FC</a>"), MString(L"\uFEFF<a/>")}) {
    EXPECT_THAT([&] { file.SaveText(text); },
                RaisesWith(L"MSettingsFile.SaveText:OtherEncoding", testing::SizeIs(3)));
  }
  EXPECT_THAT([&] { file.SaveText(MString(1, wchar_t(0xDC00))); },
              RaisesWith(L"Utf8.ToUtf8:MalformedText", ElementsAre(Pair(L"offset", L"0"))));
  EXPECT_EQ(GetBytes(path), "<?xml encoding='EBCDIC'?>");
}

TEST_F(SettingsFile, TheLimitHoldsForLoadingAndSaving) {
  MSettingsFileOptions options;
  options.maxBytes = 100'000;
  const MSettingsFile limited(path, options);
  limited.SaveBytes(std::string(100'000, 'x'));
  EXPECT_EQ(limited.LoadBytes()->size(), 100'000U);
  const auto limit = Pair(L"limit", L"100000");
  EXPECT_THAT(
      [&] { limited.SaveBytes(std::string(100'001, 'y')); },
      RaisesWith(L"MSettingsFile.SaveBytes:TooLarge",
                 ElementsAre(Pair(L"file", TextOfPath(path)), limit, Pair(L"stored", L"old"))));
  PutBytes(path, std::string(100'001, 'z'));
  EXPECT_THAT([&] { static_cast<void>(limited.LoadBytes()); },
              RaisesWith(L"MSettingsFile.LoadBytes:TooLarge",
                         ElementsAre(Pair(L"file", TextOfPath(path)), limit)));
  // A file that grows as fast as it is read ends at the limit, too.
  const SystemCallOverride grows(
      storageCalls.readFile, +[](FileId, void*, std::size_t size, std::size_t* length) {
        *length = size;
        return DWORD{ERROR_SUCCESS};
      });
  EXPECT_THROW(static_cast<void>(file.LoadBytes()), MException);
}

TEST_F(SettingsFile, APathThatNamesNoFileIsRefusedAndARelativeOneKeepsItsFolder) {
  for (const fs::path& bad : {fs::path(), fs::path("."), fs::path("a/.."), fs::path("a/"),
                              fs::path(std::string("a\0b", 3))}) {
    EXPECT_THAT([&] { const MSettingsFile none(bad); },
                RaisesWith(L"MSettingsFile.MSettingsFile:BadPath",
                           ElementsAre(Pair(L"file", TextOfPath(bad)))));
  }
  const fs::path before = fs::current_path();
  fs::current_path(folder.path);
  const MSettingsFile relative("relative");
  fs::current_path(before);
  relative.SaveBytes("here");
  EXPECT_EQ(GetBytes(folder.path / "relative"), "here");
}

TEST_F(SettingsFile, ThePreviousContentIsKeptWhenAskedFor) {
  MSettingsFileOptions options;
  options.keepsPrevious = true;
  const MSettingsFile keeping(path, options);
  keeping.SaveBytes("1");
  EXPECT_FALSE(fs::exists(keeping.GetPreviousPath()));
  keeping.SaveBytes("2");
  keeping.SaveBytes("3");
  EXPECT_EQ(GetBytes(keeping.GetPreviousPath()), "2");
  fs::remove(keeping.GetPreviousPath());
  fs::create_directory(keeping.GetPreviousPath());
  EXPECT_THAT([&] { keeping.SaveBytes("4"); },
              RaisesOfSystem(L"SaveBytes:KeepFailed", ERROR_ACCESS_DENIED));
  EXPECT_EQ(file.LoadBytes(), "3");
  EXPECT_EQ(folder.Names().size(), 2U);
}

TEST_F(SettingsFile, DraftsOfKilledWritersAreRemovedAndNothingElse) {
  const auto beside = [&](const char* suffix) {
    fs::path other = path;
    other += suffix;
    PutBytes(other, "x");
    return other;
  };
  const fs::path abandoned = beside(".velta-0123456789abcdef.new");
  const std::vector<fs::path> others{beside(".velta-0123456789abcdeg.new"), beside(".new"),
                                     beside(".velta-0123456789abcdef.newer"),
                                     beside("x.velta-0123456789abcdef.new")};
  const fs::path used = beside(".velta-1123456789abcdef.new");
  fs::remove(used);
  FileId draft = Velta::Platform::kNoFile;
  ASSERT_EQ(storageCalls.createFile.load()(used, nullptr, &draft), DWORD{ERROR_SUCCESS});
  file.SaveBytes("1");
  EXPECT_FALSE(fs::exists(abandoned));
  EXPECT_TRUE(fs::exists(used)) << "its writer is at work";
  storageCalls.closeFile.load()(draft);
  file.SaveBytes("2");
  EXPECT_FALSE(fs::exists(used));
  for (const fs::path& other : others) {
    EXPECT_TRUE(fs::exists(other)) << other;
  }
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
    EXPECT_THAT([&] { static_cast<void>(file.LoadBytes()); }, RaisesOfFile(L"LoadBytes:NotAFile"));
    EXPECT_THAT([&] { file.SaveBytes("x"); },
                RaisesWith(L"MSettingsFile.SaveBytes:NotAFile",
                           ElementsAre(Pair(L"file", TextOfPath(path)), Pair(L"stored", L"old"))));
    EXPECT_EQ(folder.Names().size(), 1U);
    fs::remove(path);
  }
}

TEST_F(SettingsFile, AFileThatIsMarkedReadOnlyIsNotReplaced) {
#if !defined(_WIN32)
  fs::permissions(folder.path, fs::perms::all);
  const OrdinaryUser user;
#endif
  PutBytes(path, "old");
  fs::permissions(path, fs::perms::owner_read);
  EXPECT_THAT([&] { file.SaveBytes("new"); },
              RaisesOfSystem(L"SaveBytes:NotWritable", ERROR_ACCESS_DENIED));
  EXPECT_EQ(file.LoadBytes(), "old");
  fs::permissions(path, fs::perms::owner_all);
}

TEST_F(SettingsFile, AMissingFolderIsAnErrorOfTheSave) {
  const MSettingsFile lost(folder.path / "none" / "file");
  EXPECT_THAT([&] { lost.SaveBytes("x"); }, RaisesWith(L"MSettingsFile.SaveBytes:CreateFailed",
                                                       Contains(Pair(L"stored", L"old"))));
}

// ---- system calls that fail ---------------------------------------------------------------------

int pausedMs = 0;
int callsLeft = 0;

/// Puts a call in the place of `entry` that fails with `code`, the first `times` times.
template <LONG code, class Result, class... Arguments>
auto Failing(std::atomic<Result (*)(Arguments...)>& entry, int times = 1'000'000) {
  using Call = Result (*)(Arguments...);
  static Call original;
  original = entry.load();
  callsLeft = times;
  return SystemCallOverride<Call>(
      entry, +[](Arguments... arguments) -> Result {
        return callsLeft-- > 0 ? static_cast<Result>(code) : original(arguments...);
      });
}

class SettingsFileFaults : public SettingsFile {
 protected:
  SettingsFileFaults() {
    pausedMs = 0;
    file.SaveBytes("old");
  }

  /// The file must be as it was, and alone.
  void ExpectOld() const {
    EXPECT_EQ(GetBytes(path), "old");
    EXPECT_EQ(folder.Names().size(), 1U);
  }

  const SystemCallOverride<Velta::Platform::StorageCalls::Pause> noPause{
      storageCalls.pause, +[](DWORD milliseconds) { pausedMs += static_cast<int>(milliseconds); }};
};

TEST_F(SettingsFileFaults, EveryStepOfASaveThatFailsNamesItselfAndLeavesTheOldFile) {
  const auto save = [&] { file.SaveBytes("new"); };
  MSettingsFileOptions options;
  options.keepsPrevious = true;
  const MSettingsFile keeping(path, options);
  const auto saveAndKeep = [&] { keeping.SaveBytes("new"); };
  {
    const auto fails = Failing<ERROR_IO_DEVICE>(storageCalls.readLink);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:LinkFailed", ERROR_IO_DEVICE));
  }
  {
    const auto fails = Failing<ERROR_IO_DEVICE>(storageCalls.checkFile);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:NotWritable", ERROR_IO_DEVICE));
  }
  {
    const auto fails = Failing<ERROR_ACCESS_DENIED>(storageCalls.createFile);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:CreateFailed", ERROR_ACCESS_DENIED));
  }
  {
    const auto fails = Failing<ERROR_FILE_EXISTS>(storageCalls.createFile);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:CreateFailed", ERROR_FILE_EXISTS));
  }
  {
    const auto fails = Failing<ERROR_DISK_FULL>(storageCalls.writeFile);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:WriteFailed", ERROR_DISK_FULL));
    ExpectOld();
  }
  {
    const auto fails = Failing<ERROR_DISK_FULL>(storageCalls.flushFile);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:FlushFailed", ERROR_DISK_FULL));
    ExpectOld();
  }
  {
    const auto fails = Failing<ERROR_IO_DEVICE>(storageCalls.openFile);
    EXPECT_THAT(saveAndKeep, RaisesOfSystem(L"SaveBytes:KeepFailed", ERROR_IO_DEVICE));
    ExpectOld();
  }
  {
    const auto fails = Failing<ERROR_IO_DEVICE>(storageCalls.readFile);
    EXPECT_THAT(saveAndKeep, RaisesOfSystem(L"SaveBytes:KeepFailed", ERROR_IO_DEVICE));
    ExpectOld();
  }
  {
    const auto fails = Failing<ERROR_IO_DEVICE>(storageCalls.renameFile);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:ReplaceFailed", ERROR_IO_DEVICE));
    ExpectOld();
  }
  {
    const auto fails = Failing<ERROR_IO_DEVICE>(storageCalls.flushName);
    EXPECT_THAT(save, RaisesOfSystem(L"SaveBytes:FolderFlushFailed", ERROR_IO_DEVICE, L"new"));
  }
  EXPECT_EQ(file.LoadBytes(), "new");
  EXPECT_EQ(pausedMs, 0) << "none of these passes by itself";
}

TEST_F(SettingsFileFaults, ALoadThatFailsNamesItsStep) {
  const auto load = [&] { static_cast<void>(file.LoadBytes()); };
  const auto raises = [&](const wchar_t* code, LONG error) {
    return RaisesWith(MString(L"MSettingsFile.LoadBytes:") + code,
                      AllOf(Contains(Pair(L"file", TextOfPath(path))),
                            Contains(Pair(L"winErrorCode", std::to_wstring(error)))));
  };
  {
    const auto fails = Failing<ERROR_ACCESS_DENIED>(storageCalls.openFile);
    EXPECT_THAT(load, raises(L"OpenFailed", ERROR_ACCESS_DENIED));
  }
  {
    const auto fails = Failing<ERROR_IO_DEVICE>(storageCalls.readFile);
    EXPECT_THAT(load, raises(L"ReadFailed", ERROR_IO_DEVICE));
  }
  EXPECT_EQ(pausedMs, 0);
}

TEST_F(SettingsFileFaults, WhileAnotherHasTheFileForItselfItIsTriedForTheWholePatience) {
  {
    const auto fails = Failing<ERROR_SHARING_VIOLATION>(storageCalls.renameFile);
    EXPECT_THAT([&] { file.SaveBytes("new"); },
                RaisesOfSystem(L"SaveBytes:ReplaceFailed", ERROR_SHARING_VIOLATION));
    EXPECT_EQ(pausedMs, 2000);
    ExpectOld();
  }
  {
    const auto fails = Failing<ERROR_SHARING_VIOLATION>(storageCalls.renameFile, 10);
    file.SaveBytes("new");
  }
  {
    const auto fails = Failing<ERROR_SHARING_VIOLATION>(storageCalls.openFile, 10);
    EXPECT_EQ(file.LoadBytes(), "new");
  }
  pausedMs = 0;
  MSettingsFileOptions options;
  options.patience = std::chrono::milliseconds(0);
  const auto fails = Failing<ERROR_SHARING_VIOLATION>(storageCalls.openFile);
  EXPECT_THROW(static_cast<void>(MSettingsFile(path, options).LoadBytes()), MException);
  EXPECT_EQ(pausedMs, 0);
}

TEST_F(SettingsFileFaults, ADraftsNameThatIsTakenIsNotUsed) {
  const auto fails = Failing<ERROR_FILE_EXISTS>(storageCalls.createFile, 3);
  file.SaveBytes("new");
  EXPECT_EQ(file.LoadBytes(), "new");
}

#if defined(_WIN32)
// Wine 8 lets an open file be replaced or not as Windows does, by how it is shared.
TEST_F(SettingsFileFaults, AFileThatAnotherHasOpenWithoutSharingStays) {
  const HANDLE other =
      ::CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(other, INVALID_HANDLE_VALUE);
  EXPECT_THAT([&] { file.SaveBytes("new"); }, RaisesWith(L"MSettingsFile.SaveBytes:ReplaceFailed",
                                                         Contains(Pair(L"stored", L"old"))));
  EXPECT_EQ(pausedMs, 2000);
  EXPECT_THAT(
      [&] { static_cast<void>(file.LoadBytes()); },
      RaisesWith(L"MSettingsFile.LoadBytes:OpenFailed", Contains(Pair(L"winErrorCode", L"32"))));
  ::CloseHandle(other);
  ExpectOld();
}

TEST_F(SettingsFile, TheAttributesStay) {
  file.SaveBytes("old");
  constexpr DWORD kMarked = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
  ASSERT_NE(::SetFileAttributesW(path.c_str(), kMarked), FALSE);
  file.SaveBytes("new");
  EXPECT_EQ(::GetFileAttributesW(path.c_str()) & kMarked, kMarked);
}
#else
TEST_F(SettingsFile, ALinkStaysALinkAndTheFileKeepsItsRights) {
  const fs::path target = folder.path / "target";
  PutBytes(target, "old");
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("target", folder.path / "second");
  fs::create_symlink(folder.path / "second", path);
  file.SaveBytes("new");
  EXPECT_TRUE(fs::is_symlink(path) && fs::is_symlink(folder.path / "second"));
  EXPECT_EQ(GetBytes(target), "new");
  EXPECT_EQ(fs::status(target).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  fs::remove(target);
  EXPECT_FALSE(file.LoadBytes()) << "a link that leads nowhere";
  file.SaveBytes("made");
  EXPECT_EQ(GetBytes(target), "made");

  fs::remove(path);
  fs::create_symlink(path.filename(), path);
  EXPECT_THAT([&] { file.SaveBytes("never"); },
              RaisesOfSystem(L"SaveBytes:LinkFailed", ERROR_CANT_RESOLVE_FILENAME));
  EXPECT_TRUE(fs::is_symlink(path));
}

TEST_F(SettingsFileFaults, TheDraftIsNeverOpenToMoreThanTheOldFile) {
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
  static mode_t seen;
  seen = 0;
  static decltype(storageCalls.writeFile.load()) original;
  original = storageCalls.writeFile.load();
  const SystemCallOverride look(
      storageCalls.writeFile, +[](FileId draft, const void* data, std::size_t size) {
        struct stat status{};
        EXPECT_EQ(::fstat(static_cast<int>(draft), &status), 0);
        seen = status.st_mode;
        EXPECT_EQ(::flock(static_cast<int>(draft), LOCK_EX | LOCK_NB), 0) << "it is ours";
        return original(draft, data, size);
      });
  file.SaveBytes("new");
  EXPECT_EQ(seen & 0777U, 0600U);
}

TEST_F(SettingsFile, AFullDiskLeavesTheOldFile) {
  file.SaveBytes("old");
  struct rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto signalBefore = std::signal(SIGXFSZ, SIG_IGN);
  struct rlimit limited{100, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
  EXPECT_THAT([&] { file.SaveBytes(std::string(1000, 'x')); },
              RaisesOfSystem(L"SaveBytes:WriteFailed", ERROR_FILE_TOO_LARGE));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  std::signal(SIGXFSZ, signalBefore);
  EXPECT_EQ(file.LoadBytes(), "old");
  EXPECT_EQ(folder.Names().size(), 1U);
}

TEST_F(SettingsFile, AFolderThatMayNotBeWrittenLeavesTheOldFile) {
  file.SaveBytes("old");
  fs::permissions(path, fs::perms::all);
  fs::permissions(folder.path, fs::perms::owner_all | fs::perms::group_read |
                                   fs::perms::group_exec | fs::perms::others_read |
                                   fs::perms::others_exec);
  const bool isOwner = ::geteuid() != 0;
  if (isOwner) {
    fs::permissions(folder.path, fs::perms::owner_read | fs::perms::owner_exec);
  }
  const OrdinaryUser user;
  EXPECT_THAT([&] { file.SaveBytes("new"); },
              RaisesOfSystem(L"SaveBytes:CreateFailed", ERROR_ACCESS_DENIED));
  EXPECT_EQ(file.LoadBytes(), "old");
}

TEST_F(SettingsFile, NamesAreBytesUnderAnyLocale) {
  const fs::path bytes = folder.path / "\xFF\xFE.xml";
  const MSettingsFile odd(bytes);
  odd.SaveText(L"x");
  EXPECT_EQ(GetBytes(bytes), "x");
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"\xFF\xFE.xml"});
}
#endif

TEST_F(SettingsFile, SaversAndLoadersAtOnceSeeWholeVersionsOnly) {
  const Watchdog watchdog("savers and loaders");
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
