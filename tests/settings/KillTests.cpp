// SPDX-License-Identifier: MIT
// A process that saves is killed again and again: the file is a whole version ever after.
#include "tests/settings/SettingsKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"
#include "velta/settings/MSettingsFile.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <signal.h>
#include <sys/wait.h>
#endif

namespace {

namespace fs = std::filesystem;

/// A saver in a process of its own.
class SaverProcess {
 public:
  SaverProcess(const fs::path& file, int firstVersion) {
#if defined(_WIN32)
    std::wstring own(32768, L'\0');
    own.resize(::GetModuleFileNameW(nullptr, own.data(), static_cast<DWORD>(own.size())));
    const fs::path program = fs::path(own).parent_path() / "velta_settings_saver.exe";
    const std::wstring command = L"\"\"" + program.native() + L"\" \"" + file.native() + L"\" " +
                                 std::to_wstring(firstVersion) + L"\"";
    reports_ = ::_wpopen(command.c_str(), L"rb");
#else
    const fs::path program =
        fs::read_symlink("/proc/self/exe").parent_path() / "velta_settings_saver";
    const std::string command =
        "exec '" + program.native() + "' '" + file.native() + "' " + std::to_string(firstVersion);
    reports_ = ::popen(command.c_str(), "r");
#endif
    processId_ = Read().value();
  }
  SaverProcess(const SaverProcess&) = delete;
  SaverProcess& operator=(const SaverProcess&) = delete;

  /// Kills it some time after its first report. @return the last one
  int KillAfter(std::chrono::microseconds time) {
    int last = Read().value();
    const auto until = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < until) {
      // A sleep would be too coarse to hit every moment of a save.
    }
#if defined(_WIN32)
    const HANDLE process =
        ::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, static_cast<DWORD>(processId_));
    EXPECT_NE(::TerminateProcess(process, 9), FALSE) << "it should have gone on saving";
    EXPECT_EQ(::WaitForSingleObject(process, INFINITE), WAIT_OBJECT_0);
    ::CloseHandle(process);
#else
    EXPECT_EQ(::kill(processId_, SIGKILL), 0) << "it should have gone on saving";
#endif
    while (const std::optional<int> version = Read()) {
      last = *version;
    }
#if defined(_WIN32)
    ::_pclose(reports_);
#else
    EXPECT_TRUE(WIFSIGNALED(::pclose(reports_)));
#endif
    return last;
  }

 private:
  std::optional<int> Read() {
    char line[32];
    return std::fgets(line, sizeof line, reports_) != nullptr ? std::optional(std::stoi(line))
                                                              : std::nullopt;
  }

  std::FILE* reports_ = nullptr;
  int processId_ = 0;
};

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : otherwise;
}

// scripts/soak.sh settings kills more often.
TEST(MSettingsFile, AWriterThatIsKilledLeavesItsLastVersionOrTheNext) {
  const unsigned kills = FromEnvironment(
      "VELTA_KILLS", static_cast<unsigned>(StressRounds(100, (std::min)(kStressDivisor, 10))));
  const unsigned seed = FromEnvironment("VELTA_SEED", std::random_device()());
  std::cout << kills << " kills, seed " << seed << '\n';
  std::mt19937 random(seed);
  const TestFolder folder;
  MSettingsFileOptions options;
  options.keepsPrevious = true;
  const MSettingsFile file(folder.path / "settings.xml", options);
  file.SaveBytes(ContentOf(0));
  int version = 0;
  unsigned drafts = 0;
  for (unsigned kill = 0; kill < kills; ++kill) {
    const Watchdog watchdog("a saver that is killed");
    const int microseconds = std::uniform_int_distribution<int>(0, 20000)(random);
    const int reported = SaverProcess(file.GetPath(), version + 1)
                             .KillAfter(std::chrono::microseconds(microseconds));
    const std::string content = file.LoadBytes().value();
    version = content == ContentOf(reported) ? reported : reported + 1;
    ASSERT_EQ(content, ContentOf(version)) << "kill " << kill;
    const std::string previous = GetBytes(file.GetPreviousPath());
    ASSERT_TRUE(previous == ContentOf(version - 1) || previous == ContentOf(version));
    drafts += folder.Names().size() > 2 ? 1 : 0;
  }
  std::cout << version << " versions, " << drafts << " kills while a draft was there\n";
  file.SaveBytes("end");
  EXPECT_EQ(folder.Names(), (std::set<fs::path>{"settings.xml", "settings.xml.old"}));
}

}  // namespace
