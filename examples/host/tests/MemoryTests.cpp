// SPDX-License-Identifier: MIT
// What the host's memory is held in gives back what was put in, to the last bit.
#include "examples/host/ReplaceContent.h"
#include "examples/host/SettingsFile.h"
#include "examples/host/SettingsRegistry.h"
#include "tests/support/RegistryKit.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <csignal>

#include <sys/resource.h>
#endif

namespace host {
namespace {

namespace fs = std::filesystem;

/// The path of a file that is not there, nor will be afterwards.
class NoFile {
 public:
  NoFile() : path(fs::temp_directory_path() / UniqueKeyName()) {}
  ~NoFile() {
    std::error_code ignored;
    fs::remove(path, ignored);
  }

  const fs::path path;
};

Memory Extremes() {
  Memory memory;
  memory.settings = {64, true};
  RunResults& run = memory.lastRun.emplace();
  run.endedAt = L"2026-02-28T23:59:60Z";
  run.counted = (std::numeric_limits<std::uint64_t>::max)();
  run.bytes = (std::uint64_t{1} << 53) + 1;
  run.words = 1;
  run.seconds = 86399.999;
  MError cause(L"A.B:Cause");
  cause.AddParameter(L"file", MString(L"<&>\"' ]]> &amp;\r\n\t \u00FC\u20AC\U0001F600"));
  cause.AddParameter(L"empty", MString());
  run.lastFailure.AddError(cause);
  run.lastFailure.AddError(MError(L"C.D:Error"));
  run.lastFailure.AddError(MError(L"C.D:Error"));
  return memory;
}

void ExpectEqual(const Memory& actual, const Memory& expected) {
  EXPECT_EQ(actual.settings.threads, expected.settings.threads);
  EXPECT_EQ(actual.settings.quiet, expected.settings.quiet);
  ASSERT_EQ(actual.lastRun.has_value(), expected.lastRun.has_value());
  const RunResults& run = *actual.lastRun;
  const RunResults& other = *expected.lastRun;
  EXPECT_EQ(run.endedAt, other.endedAt);
  EXPECT_EQ(run.counted, other.counted);
  EXPECT_EQ(run.failed, other.failed);
  EXPECT_EQ(run.bytes, other.bytes);
  EXPECT_EQ(run.lines, other.lines);
  EXPECT_EQ(run.words, other.words);
  EXPECT_EQ(run.seconds, other.seconds);
  ASSERT_EQ(run.lastFailure.GetErrorCount(), other.lastFailure.GetErrorCount());
  for (std::int32_t i = 0; i < run.lastFailure.GetErrorCount(); ++i) {
    EXPECT_EQ(run.lastFailure.GetError(i)->GetCode(), other.lastFailure.GetError(i)->GetCode());
    EXPECT_EQ(run.lastFailure.GetError(i)->GetParameters(),
              other.lastFailure.GetError(i)->GetParameters());
  }
}

void ExpectRemembers(SettingsStore& store) {
  std::vector<std::string> complaints;
  EXPECT_FALSE(store.Load(complaints));

  Memory memory = Extremes();
  store.Save(memory);
  std::optional<Memory> loaded = store.Load(complaints);
  ASSERT_TRUE(loaded);
  ExpectEqual(*loaded, memory);

  memory.lastRun.emplace();  // nothing of the old chain may stay
  store.Save(memory);
  loaded = store.Load(complaints);
  ASSERT_TRUE(loaded);
  ExpectEqual(*loaded, memory);
  EXPECT_THAT(complaints, ::testing::IsEmpty());
}

TEST(HostMemory, AFileGivesBackWhatItWasGiven) {
  const NoFile file;
  SettingsFile store(file.path);
  ExpectRemembers(store);
}

TEST(HostMemory, TheRegistryGivesBackWhatItWasGiven) {
  [[maybe_unused]] const TestRegistry registry;
  const MString application = UniqueKeyName();
  SettingsRegistry store(application);
  ExpectRemembers(store);
#if defined(_WIN32)
  ::RegDeleteTreeW(HKEY_CURRENT_USER, (L"Software\\Velta\\" + application).c_str());
#endif
}

#if !defined(_WIN32)
TEST(HostReplaceContent, AKilledProcessLeavesTheOldContent) {
  const NoFile file;
  ReplaceContent(file.path, "old");
  const auto writeUntilKilled = [&] {
    const rlimit none{0, 0};
    const rlimit few{4096, 4096};
    ::setrlimit(RLIMIT_CORE, &none);
    ::setrlimit(RLIMIT_FSIZE, &few);
    std::signal(SIGXFSZ, SIG_DFL);
    ReplaceContent(file.path, std::string(100000, 'n'));
  };
  EXPECT_EXIT(writeUntilKilled(), ::testing::KilledBySignal(SIGXFSZ), "");

  std::ifstream content(file.path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(content), {}), "old");
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(file.path.parent_path())) {
    const bool left = entry.path().native().starts_with(file.path.native() + '.');
    if (left) fs::remove(entry.path(), ignored);  // the killed process's own
  }
}

TEST(HostReplaceContent, ALinkStaysALinkAndTheFileKeepsItsPermissions) {
  const NoFile file;
  const NoFile link;
  ReplaceContent(file.path, "old");
  fs::permissions(file.path, fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink(file.path, link.path);

  ReplaceContent(link.path, "new");

  EXPECT_TRUE(fs::is_symlink(link.path));
  EXPECT_EQ(fs::file_size(file.path), 3U);
  EXPECT_EQ(fs::status(file.path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}
#endif

}  // namespace
}  // namespace host
