// SPDX-License-Identifier: MIT
// A process that saves is killed again and again: the file is a whole version ever after.
#include "tests/settings/SettingsKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"
#include "velta/settings/MSettingsFile.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

/// A saver in a process of its own, and what it reports.
class SaverProcess {
 public:
  SaverProcess(const fs::path& file, int firstVersion) {
#if defined(_WIN32)
    std::wstring own(32768, L'\0');
    own.resize(::GetModuleFileNameW(nullptr, own.data(), static_cast<DWORD>(own.size())));
    const fs::path program = fs::path(own).parent_path() / "velta_settings_saver.exe";
    std::wstring command = L"\"" + program.native() + L"\" \"" + file.native() + L"\" " +
                           std::to_wstring(firstVersion);
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE theirs = nullptr;
    EXPECT_NE(::CreatePipe(&reports_, &theirs, &inherited, 0), FALSE);
    ::SetHandleInformation(reports_, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = theirs;
    PROCESS_INFORMATION started{};
    EXPECT_NE(::CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                               nullptr, &startup, &started),
              FALSE);
    ::CloseHandle(started.hThread);
    ::CloseHandle(theirs);
    process_ = started.hProcess;
#else
    const fs::path program =
        fs::read_symlink("/proc/self/exe").parent_path() / "velta_settings_saver";
    const std::string version = std::to_string(firstVersion);
    int ends[2] = {};
    EXPECT_EQ(::pipe(ends), 0);
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(ends[1], 1);
      ::close(ends[0]);
      ::close(ends[1]);
      ::execl(program.c_str(), program.c_str(), file.c_str(), version.c_str(), nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    reports_ = ends[0];
#endif
  }
  SaverProcess(const SaverProcess&) = delete;
  SaverProcess& operator=(const SaverProcess&) = delete;

  /// @return false when the process has ended
  bool ReadReport() {
    char character = 0;
    std::string number;
    while (ReadByte(character)) {
      if (character == '\n') {
        last_ = std::stoi(number);
        return true;
      }
      number += character;
    }
    return false;
  }

  /// Lets it run on and kills it. @return the last version that it reported, if any
  std::optional<int> KillAfter(std::chrono::microseconds time) {
    const auto until = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < until) {
      // Not a sleep, which is too coarse to hit any moment of a save.
    }
#if defined(_WIN32)
    EXPECT_NE(::TerminateProcess(process_, 9), FALSE);
    EXPECT_EQ(::WaitForSingleObject(process_, INFINITE), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_NE(::GetExitCodeProcess(process_, &code), FALSE);
    EXPECT_EQ(code, 9U) << "it should have gone on saving";
    while (ReadReport()) {
    }
    ::CloseHandle(process_);
    ::CloseHandle(reports_);
#else
    EXPECT_EQ(::kill(process_, SIGKILL), 0);
    int status = 0;
    EXPECT_EQ(::waitpid(process_, &status, 0), process_);
    EXPECT_TRUE(WIFSIGNALED(status)) << "it should have gone on saving";
    while (ReadReport()) {
    }
    ::close(reports_);
#endif
    return last_;
  }

 private:
  bool ReadByte(char& byte) const {
#if defined(_WIN32)
    DWORD length = 0;
    return ::ReadFile(reports_, &byte, 1, &length, nullptr) != FALSE && length == 1;
#else
    return ::read(reports_, &byte, 1) == 1;
#endif
  }

#if defined(_WIN32)
  HANDLE process_ = nullptr;
  HANDLE reports_ = nullptr;
#else
  pid_t process_ = 0;
  int reports_ = -1;
#endif
  std::optional<int> last_;
};

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : otherwise;
}

// scripts/soak.sh settings sets both; the file system of the temporary folder counts.
TEST(MSettingsFile, AWriterThatIsKilledLeavesItsLastVersionOrTheNext) {
  const unsigned kills = FromEnvironment(
      "VELTA_KILLS", static_cast<unsigned>(StressRounds(100, (std::min)(kStressDivisor, 10))));
  const unsigned seed = FromEnvironment("VELTA_SEED", std::random_device()());
  std::cout << kills << " kills, seed " << seed << '\n';
  std::mt19937 random(seed);
  const TestFolder folder;
  const MSettingsFile file(folder.path / "settings.xml");
  file.SaveBytes(ContentOf(0));
  int version = 0;
  unsigned inTheMiddle = 0;
  for (unsigned kill = 0; kill < kills; ++kill) {
    const Watchdog watchdog("a saver that is killed");
    SaverProcess saver(file.GetPath(), version + 1);
    ASSERT_TRUE(saver.ReadReport());
    const auto microseconds = std::uniform_int_distribution<int>(0, 20000)(random);
    const int reported = saver.KillAfter(std::chrono::microseconds(microseconds)).value();

    const std::optional<std::string> content = file.LoadBytes();
    ASSERT_TRUE(content);
    version = *content == ContentOf(reported) ? reported : reported + 1;
    ASSERT_EQ(*content, ContentOf(version)) << "kill " << kill;
    const std::string previous = GetBytes(file.GetPreviousPath());
    ASSERT_TRUE(previous == ContentOf(version - 1) || previous == ContentOf(version));
    inTheMiddle += folder.Names().size() > 2 ? 1 : 0;
  }
  std::cout << version << " versions, " << inTheMiddle << " kills while a draft was there\n";
  file.SaveBytes("end");
  // A save without a previous one looks for its own drafts only.
  MSettingsFileOptions options;
  options.keepsPrevious = true;
  MSettingsFile(file.GetPath(), options).SaveBytes("last");
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"settings.xml", "settings.xml.old"}));
}

}  // namespace
