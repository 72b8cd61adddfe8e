// SPDX-License-Identifier: MIT
// The parts of the host whose faults a run of the program cannot bring about at will.
#include "examples/host/CallerPool.h"
#include "examples/host/ContentCounter.h"
#include "examples/host/FrameworkErrors.h"
#include "examples/host/InputFile.h"
#include "examples/host/ListFolder.h"
#include "examples/host/Progress.h"
#include "examples/host/RunMonitor.h"
#include "examples/host/Submit.h"
#include "examples/host/Text.h"
#include "tests/support/Watchdog.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if defined(_WIN32)
#include <share.h>
#endif

namespace host {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::Field;

const wchar_t ClassName[] = L"PartsTests";

/// A folder of this test's own, gone afterwards.
class Folder {
 public:
  Folder() {
    const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
    path = fs::temp_directory_path() /
           (std::string("velta-host-") + test->test_suite_name() + "-" + test->name());
    fs::remove_all(path);
    fs::create_directory(path);
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  fs::path Write(const char* name, const std::string& content) const {
    std::ofstream(path / name, std::ios::binary) << content;
    return path / name;
  }

  fs::path path;
};

/// The codes of what `action` throws, oldest first.
template <class Action>
std::vector<MString> CodesOf(Action action) {
  std::vector<MString> codes;
  try {
    action();
  } catch (const MException& exception) {
    for (std::int32_t i = 0; i < exception.GetErrorCount(); ++i) {
      codes.push_back(exception.GetError(i)->GetCode());
    }
  }
  return codes;
}

class HostParts : public ::testing::Test {
 protected:
  HostParts()
      : context(monitor),
        progress(nullptr),
        scheduler(&monitor),
        processor(
            &monitor,
            new MCallbackFunctorImp<ProcessorContext>(&context, &ProcessorContext::OnThreadStart),
            nullptr, nullptr, 0, false) {
    processor.Start();
    scheduler.Enable();
  }

  // What is still queued when the scheduler is destroyed would leak.
  void TearDown() override {
    if (monitor.GetFailure()) {
      return;
    }
    scheduler.ScheduleDesyncEvent(new LastNotification(progress, monitor));
    EXPECT_TRUE(monitor.WaitFor(RunMonitor::Signal::kLastNotification));
  }

  const Watchdog watchdog{"a part of the host"};
  RunMonitor monitor;
  ProcessorContext context;
  ProgressLine progress;
  MDesyncEventScheduler scheduler;
  MCommandProcessor processor;
};

TEST_F(HostParts, AFolderIsListedByNameOrHasVanished) {
  const Folder folder;
  const fs::path second = folder.Write("b", "");
  const fs::path first = folder.Write("a", "");
  fs::create_directory(folder.path / "c");

  const auto entries = std::make_shared<std::vector<FolderEntry>>();
  Submit<ListFolder>(processor, context, folder.path, entries);

  EXPECT_THAT(*entries,
              ElementsAre(Field(&FolderEntry::path, first), Field(&FolderEntry::path, second),
                          Field(&FolderEntry::path, folder.path / "c")));
  EXPECT_TRUE(entries->back().isFolder);

  const fs::path gone = folder.path / "gone";
  EXPECT_THAT(CodesOf([&] { Submit<ListFolder>(processor, context, gone, entries); }),
              ElementsAre(L"ListFolder.Read:ReadFailed", L"ListFolder.Execute:FolderNotListed"));
}

TEST_F(HostParts, AFileThatVanishedAfterItWasFoundIsAChainOfErrors) {
  const Folder folder;
  folder.Write("stays", "1\n");
  folder.Write("vanishes", "");
  std::vector<FileResult> files;
  FindFiles(processor, context, {folder.path}, files);
  ASSERT_EQ(files.size(), 2U);
  fs::remove(folder.path / "vanishes");
  {
    CallerPool callers({processor, scheduler, context, progress, monitor}, files);
    callers.Start(2);
    EXPECT_TRUE(monitor.WaitFor(RunMonitor::Signal::kFilesCounted, 2));
  }
  EXPECT_FALSE(files[0].failure);
  EXPECT_EQ(files[0].totals.lines, 1U);
  ASSERT_TRUE(files[1].failure);
  EXPECT_THAT(CodesOf([&] { throw MException(*files[1].failure); }),
              ElementsAre(L"InputFile.InputFile:OpenFailed", L"CountFile.Execute:FileNotCounted"));
}

TEST_F(HostParts, AStoppedProcessorRefusesEveryFileAndTheTotals) {
  const Folder folder;
  std::vector<FileResult> files(5);
  for (FileResult& file : files) {
    file.path = folder.Write("file", "");
  }
  processor.Stop();
  monitor.Send(RunMonitor::Signal::kSubmitTotals);

  CallerPool callers({processor, scheduler, context, progress, monitor}, files);
  callers.Start(3);
  callers.Join();

  for (const FileResult& file : files) {
    ASSERT_TRUE(file.failure);
    EXPECT_THAT(CodesOf([&] { throw MException(*file.failure); }),
                ElementsAre(L"MCommandProcessor.ExecuteSynchronously:ProcessorStopped"));
  }
  EXPECT_EQ(callers.GetRefusedCount(), 3U);
  EXPECT_EQ(callers.GetAddedCount(), 0U);
}

TEST_F(HostParts, AThreadThatFailsEndsEveryWait) {
  std::thread waiting([this] { EXPECT_FALSE(monitor.WaitFor(RunMonitor::Signal::kFilesCounted)); });
  monitor.OnSpontaneousError(MException(MError(L"first")));
  monitor.OnSpontaneousError(MException(MError(L"second")));
  waiting.join();
  const std::optional<MException> failure = monitor.GetFailure();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->GetError(0)->GetCode(), L"first");
}

#if defined(_WIN32)
TEST(HostInputFile, AFileThatAnotherHasForItselfCannotBeOpened) {
  const Folder folder;
  const fs::path path = folder.Write("taken", "1");
  std::FILE* const taken = ::_wfsopen(path.c_str(), L"rb", _SH_DENYRW);
  ASSERT_NE(taken, nullptr);
  EXPECT_THAT(CodesOf([&] { const InputFile file(path); }),
              ElementsAre(L"InputFile.InputFile:OpenFailed"));
  std::fclose(taken);
}
#endif

TEST(HostContentCounter, CountsTheSameHoweverTheContentIsCut) {
  const std::string text = " one\ttwo\n\nthree \v\f\r four";
  const auto* const data = reinterpret_cast<const unsigned char*>(text.data());
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    ContentCounter parts;
    parts.Add(data, cut);
    parts.Add(data + cut, text.size() - cut);
    EXPECT_EQ(parts.GetTotals().words, 4U) << cut;
    EXPECT_EQ(parts.GetTotals().lines, 2U) << cut;
  }
}

TEST(HostFrameworkErrors, OnlyFrameworkExceptionsLeave) {
  static MFlowPoint point(ClassName, L"Work");
  const auto throwing = [](auto exception) {
    return CodesOf([&] { TranslateExceptions(point, [&] { throw exception; }); });
  };
  EXPECT_THAT(throwing(MException(MError(L"own"))), ElementsAre(L"own"));
  EXPECT_THAT(throwing(std::runtime_error("other")),
              ElementsAre(L"PartsTests.Work:UnexpectedException"));
  // What memory ran out for has no code.
  EXPECT_THAT(throwing(std::bad_alloc()), ElementsAre(L""));
}

TEST(HostText, NamesStayOnOneLineAndBytesThatAreNoTextDoNoHarm) {
  EXPECT_EQ(DisplayName(fs::path(L"a\n\x1B[31mb\x7F")), "a??[31mb?");
  const std::string replacement = "\xEF\xBF\xBD";
  EXPECT_EQ(ToUtf8(MString(1, wchar_t{0xD83D}) + L'x'), replacement + 'x');  // half a pair
  EXPECT_EQ(ToUtf8(L"\u00FC\u20AC\U0001F600"), "\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80");
#if !defined(_WIN32)
  for (const char* const text : {"\xC3\xBC", "\xE2\x82\xAC", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(ToUtf8(ToText(fs::path(text))), text);
  }
  // Cut short, overlong, half a pair, beyond the last character, a byte that starts nothing.
  for (const char* const bytes : {"\xE2\x82", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80",
                                  "\xF4\x90\x80\x80", "\xFF", "\x80", "\xC3x"}) {
    const MString text = ToText(fs::path(std::string(bytes) + "/end"));
    EXPECT_EQ(text.front(), L'\uFFFD') << bytes;
    EXPECT_TRUE(text.ends_with(L"/end")) << bytes;
  }
#endif
}

}  // namespace
}  // namespace host
