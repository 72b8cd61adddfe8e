// SPDX-License-Identifier: MIT
// What the registry's store promises as files: where it is, what it survives, who may do what.
#include "tests/support/OrdinaryUser.h"
#include "tests/support/RegistryKit.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;

TEST(RegistryStore, LiesInTheUsersConfigurationUnlessTheVariableSaysOtherwise) {
  const TestRegistry temporary;
  const fs::path root = temporary.Store();
  const auto stored = [&](const char* folder) {
    {
      const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
    }
    return fs::exists(root / folder / "HKEY_CURRENT_USER/software/app");
  };
  EXPECT_TRUE(stored("."));
  SetVariable("HOME", root / "home");
  SetVariable("XDG_CONFIG_HOME", root / "config");
  ::unsetenv("VELTA_REGISTRY");
  EXPECT_TRUE(stored("config/velta/registry"));
  SetVariable("XDG_CONFIG_HOME", "");
  EXPECT_TRUE(stored("home/.config/velta/registry"));
  ::unsetenv("HOME");
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, L"Software"), ERROR_FILE_NOT_FOUND);
}

TEST(RegistryStore, IsTheUsersAloneAndKeepsTheSpellingOfNames) {
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\My App");
  ASSERT_EQ(Store(key, L"Window.Width", REG_DWORD, BytesOf(5)), ERROR_SUCCESS);
  const fs::path folder = registry.Store() / "HKEY_CURRENT_USER/software/my app";
  const fs::path file = folder / "window%2e;width.value";
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  std::string spelling;
  std::getline(std::ifstream(folder / ".name"), spelling);
  EXPECT_EQ(spelling, "My App");
  std::string content;
  std::getline(std::ifstream(file, std::ios::binary), content);
  EXPECT_NE(content.find("Window%2e;Width"), std::string::npos);
}

TEST(RegistryStore, AFileThatIsNoWholeValueIsCorrupt) {
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
  ASSERT_EQ(Store(key, L"Value", REG_BINARY, std::vector<BYTE>(100)), ERROR_SUCCESS);
  const fs::path file = registry.Store() / "HKEY_CURRENT_USER/software/app/value.value";
  for (const unsigned size : {115U, 15U, 0U}) {
    fs::resize_file(file, size);
    EXPECT_EQ(Stored(key, L"Value").status, ERROR_REGISTRY_CORRUPT) << size;
  }
  std::ofstream(file) << std::string(200, 'x');
  EXPECT_EQ(Stored(key, L"Value").status, ERROR_REGISTRY_CORRUPT);
  EXPECT_EQ(Store(key, L"Value", REG_BINARY, {1}), ERROR_SUCCESS);
  EXPECT_EQ(Stored(key, L"Value").data, std::vector<BYTE>{1});
}

TEST(RegistryStore, PermissionsDecideWhoMayDoWhat) {
  const OrdinaryUser user;
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
  ASSERT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(1)), ERROR_SUCCESS);
  const fs::path folder = registry.Store() / "HKEY_CURRENT_USER/software/app";

  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(Opened(key, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Opened(key, nullptr, KEY_READ | KEY_WRITE), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(2)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Stored(key, L"Value").data, BytesOf(1));
  EXPECT_EQ(Created(key, L"Below"), ERROR_ACCESS_DENIED);

  fs::permissions(folder, fs::perms::none);
  EXPECT_EQ(Opened(key, nullptr), ERROR_ACCESS_DENIED);
  fs::permissions(folder, fs::perms::owner_all);
  fs::permissions(folder / "value.value", fs::perms::none);
  EXPECT_EQ(Stored(key, L"Value").status, ERROR_ACCESS_DENIED);
}

TEST(RegistryStoreDeathTest, AWriterKilledInTheMiddleLeavesTheOldValueAndIsInNobodysWay) {
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
  ASSERT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(1)), ERROR_SUCCESS);
  const auto writeUntilKilled = [&] {
    const rlimit none{0, 0};
    const rlimit few{4096, 4096};
    ::setrlimit(RLIMIT_CORE, &none);
    ::setrlimit(RLIMIT_FSIZE, &few);
    static_cast<void>(Store(key, L"Value", REG_BINARY, std::vector<BYTE>(100'000)));
  };
  EXPECT_EXIT(writeUntilKilled(), testing::KilledBySignal(SIGXFSZ), "");

  EXPECT_EQ(Stored(key, L"Value").data, BytesOf(1));
  ASSERT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(2)), ERROR_SUCCESS);
  EXPECT_EQ(Stored(key, L"Value").data, BytesOf(2));
  const fs::directory_iterator files(registry.Store() / "HKEY_CURRENT_USER/software/app");
  EXPECT_EQ(std::distance(files, {}), 2) << "the value and the key's spelling, no draft";
}

}  // namespace
