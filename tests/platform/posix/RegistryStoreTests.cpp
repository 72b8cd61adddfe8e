// SPDX-License-Identifier: MIT
// What the registry's store promises as files: where it is, what it survives, who may do what.
#include "tests/platform/PlatformKit.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/RegistryKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"

#include <atomic>
#include <csignal>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

/// An environment variable for one scope; null removes it.
class Variable {
 public:
  Variable(const char* variableName, const char* value) : name(variableName) {
    if (const char* const before = std::getenv(name)) previous = before;
    wasSet = std::getenv(name) != nullptr;
    Set(value);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() { Set(wasSet ? previous.c_str() : nullptr); }

 private:
  void Set(const char* value) {
    if (value != nullptr) {
      ::setenv(name, value, 1);
    } else {
      ::unsetenv(name);
    }
  }

  const char* const name;
  std::string previous;
  bool wasSet;
};

std::vector<std::string> FilesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

TEST(RegistryStore, LiesInTheUsersConfigurationUnlessTheVariableSaysOtherwise) {
  const TestRegistry temporary;
  const fs::path root = temporary.Store();
  const Variable home("HOME", (root / "home").c_str());
  const Variable config("XDG_CONFIG_HOME", (root / "config").c_str());
  const auto write = [] { const TestKey key(HKEY_CURRENT_USER, L"Software\\App"); };
  write();
  EXPECT_TRUE(fs::exists(root / "HKEY_CURRENT_USER/software/app"));
  const Variable unset("VELTA_REGISTRY", nullptr);
  write();
  EXPECT_TRUE(fs::exists(root / "config/velta/registry/HKEY_CURRENT_USER/software/app"));
  const Variable noConfig("XDG_CONFIG_HOME", "");
  write();
  EXPECT_TRUE(fs::exists(root / "home/.config/velta/registry/HKEY_CURRENT_USER/software/app"));
  const Variable noHome("HOME", nullptr);
  HKEY key = nullptr;
  EXPECT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ, &key),
            ERROR_FILE_NOT_FOUND);
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
  const auto open = [&](REGSAM access) {
    HKEY opened = nullptr;
    const LSTATUS status = ::RegOpenKeyExW(key, nullptr, 0, access, &opened);
    if (status == ERROR_SUCCESS) ::RegCloseKey(opened);
    return status;
  };

  fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(open(KEY_READ), ERROR_SUCCESS);
  EXPECT_EQ(open(kReadWrite), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(2)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Stored(key, L"Value").data, BytesOf(1));
  HKEY below = nullptr;
  EXPECT_EQ(::RegCreateKeyExW(key, L"Below", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ, nullptr,
                              &below, nullptr),
            ERROR_ACCESS_DENIED);

  fs::permissions(folder, fs::perms::none);
  EXPECT_EQ(open(KEY_READ), ERROR_ACCESS_DENIED);
  fs::permissions(folder, fs::perms::owner_all);
  fs::permissions(folder / "value.value", fs::perms::none);
  EXPECT_EQ(Stored(key, L"Value").status, ERROR_ACCESS_DENIED);
}

TEST(RegistryStore, AWriterKilledAtAnyMomentLeavesTheOldValueOrTheNewOne) {
  const Watchdog watchdog("writers that are killed", std::chrono::seconds(250));
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
  const std::vector<BYTE> longOne(200'000, 'l');
  const std::vector<BYTE> shortOne(9, 's');
  ASSERT_EQ(Store(key, L"Value", REG_BINARY, shortOne), ERROR_SUCCESS);
  constexpr unsigned kSeed = 20261121;
  std::mt19937 random(kSeed);
  for (int round = 0; round < StressRounds(300); ++round) {
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t writer = ::fork();
    ASSERT_GE(writer, 0);
    if (writer == 0) {
      for (bool first = true;; first = false) {
        if (Store(key, L"Value", REG_BINARY, longOne) != ERROR_SUCCESS ||
            Store(key, L"Value", REG_BINARY, shortOne) != ERROR_SUCCESS) {
          ::_exit(1);
        }
        if (first && ::write(ready[1], "", 1) != 1) ::_exit(1);
      }
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    const auto expectWhole = [&] {
      BYTE data[200'000];
      DWORD size = sizeof data;
      ASSERT_EQ(::RegQueryValueExW(key, L"Value", nullptr, nullptr, data, &size), ERROR_SUCCESS);
      ASSERT_TRUE(size == longOne.size() || size == shortOne.size()) << size;
      const BYTE letter = size == longOne.size() ? 'l' : 's';
      for (DWORD i = 0; i < size; ++i) ASSERT_EQ(data[i], letter);
    };
    // The moment: after some reads, and some work in between.
    for (auto reads = random() % 3; reads > 0; --reads) expectWhole();
    for (std::atomic<std::uint32_t> work{static_cast<std::uint32_t>(random() % 200'000)}; work != 0;
         --work) {
    }
    ::kill(writer, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself";
    expectWhole();
    ASSERT_EQ(Store(key, L"Value", REG_BINARY, {1}), ERROR_SUCCESS)
        << "its draft is in nobody's way";
    ASSERT_EQ(Stored(key, L"Value").data, std::vector<BYTE>{1});
    if (testing::Test::HasFatalFailure()) return;
  }
  // At most one draft, the value and the key's spelling: killed writers leave no heap of files.
  EXPECT_LE(FilesIn(registry.Store() / "HKEY_CURRENT_USER/software/app").size(), 3U);
}

TEST(RegistryKeys, ManyAreOpenAtOnceAndAnOldHandleNeverReachesTheNextKey) {
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
  std::vector<HKEY> handles;
  for (int i = 0; i < 200; ++i) {
    HKEY opened = nullptr;
    ASSERT_EQ(::RegOpenKeyExW(key, nullptr, 0, kReadWrite, &opened), ERROR_SUCCESS);
    handles.push_back(opened);
  }
  for (const HKEY handle : handles) EXPECT_EQ(::RegCloseKey(handle), ERROR_SUCCESS);
  const TestKey next(key, L"Next");
  for (const HKEY handle : handles) {
    EXPECT_EQ(Store(handle, L"Value", REG_DWORD, BytesOf(1)), ERROR_INVALID_HANDLE);
    EXPECT_EQ(::RegCloseKey(handle), ERROR_INVALID_HANDLE);
  }
}

TEST(RegistryKeys, AreNoEventsAndEventsAreNoKeys) {
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
  const Event event(Event::kManual);
  EXPECT_EQ(::RegCloseKey(reinterpret_cast<HKEY>(static_cast<HANDLE>(event))),
            ERROR_INVALID_HANDLE);
  const HANDLE asEvent = static_cast<HKEY>(key);
  EXPECT_EQ(::CloseHandle(asEvent), FALSE);
  EXPECT_EQ(::SetEvent(asEvent), FALSE);
  EXPECT_EQ(::WaitForSingleObject(asEvent, 0), WAIT_FAILED);
  EXPECT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(1)), ERROR_SUCCESS);
}

TEST(RegistryKeys, AKeyClosedWhileItIsUsedIsUsedToTheEnd) {
  const Watchdog watchdog("a key closed under its users", std::chrono::seconds(250));
  const TestRegistry registry;
  const TestKey key(HKEY_CURRENT_USER, L"Software\\App");
  ASSERT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(1)), ERROR_SUCCESS);
  std::atomic<HKEY> shared{nullptr};
  std::atomic<bool> done{false};
  std::thread user([&] {
    while (!done) {
      const StoredValue value = Stored(shared, L"Value");
      EXPECT_TRUE(value.status == ERROR_INVALID_HANDLE || value.data == BytesOf(1)) << value.status;
    }
  });
  for (int i = 0; i < StressRounds(5000); ++i) {
    HKEY opened = nullptr;
    ASSERT_EQ(::RegOpenKeyExW(key, nullptr, 0, KEY_READ, &opened), ERROR_SUCCESS);
    shared = opened;
    ASSERT_EQ(::RegCloseKey(opened), ERROR_SUCCESS);
  }
  done = true;
  user.join();
}

}  // namespace
