// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "velta/logging/MKLoggerAdapter.h"
#include "velta/platform/internal/DebugDumpFile.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Watchdog.h"

#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#endif

namespace {

using testing::MatchesRegex;

void WriteNumbered(KLogger& log, std::int32_t first, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) {
    KLogger::Write(&log, -7, first + i, 0, 0, 0, nullptr);
  }
}

// Takes `room` bytes and, if there is room for all, none the further way. Where it fails it throws
// or, as a full disk does, refuses.
class FailingBuffer : public std::streambuf {
 public:
  FailingBuffer(std::size_t room, bool throws) : room_(room), throws_(throws) {}

 protected:
  int_type overflow(int_type byte) override {
    if (room_ == 0) {
      return Fail();
    }
    --room_;
    return byte;
  }
  int sync() override { return Fail(); }

 private:
  [[nodiscard]] int Fail() const { return throws_ ? throw std::runtime_error("no room") : -1; }

  std::size_t room_;
  bool throws_;
};

TEST(KLoggerDump, EmptyLogIsTwoHeaderLinesAndAPause) {
  const auto dump = [](KLogger& log) {
    std::ostringstream text;
    KLogger::Dump(&log, text);
    return text.str();
  };
  KLogger log;
  // Noon at Greenwich in the middle of the month: the same day, month and year everywhere.
  KLoggerProbe::SetClock(log, 1000, 12345, 1789473600, 7);
  const auto begin = std::chrono::steady_clock::now();

  const std::string text = dump(log);

  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(9));
  EXPECT_THAT(text, MatchesRegex("%% Reference time: 12\\.345000 is approximately 7ms past "
                                 "Tue Sep 15 ..:..:00 2026\n%%\n"));
  EXPECT_EQ(KLoggerProbe::Counter(log), 1U);

  KLoggerProbe::SetClock(log, 1000, 0, -1, 0);  // no time that can be shown
  EXPECT_EQ(dump(log), "%% Reference time: 0.000000 is wrong.\n%%\n");
}

TEST(KLoggerDump, TimesAreRelativeToTheFirstRecordWhichIsLaterThanTheLogItself) {
  KLogger log;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::system_clock::now().time_since_epoch());
  EXPECT_NEAR(static_cast<double>(KLoggerProbe::StartSeconds(log)),
              static_cast<double>(seconds.count()), 60.0);
  WriteNumbered(log, 0, 2);
  std::ostringstream text;
  KLogger::Dump(&log, text);
  EXPECT_THAT(text.str(), testing::StartsWith("%% Reference time: -0."));
  EXPECT_EQ(text.str().find('\r'), std::string::npos);
  const std::vector<LoggedEvent> events = LogReader::Events(text.str());
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].time, "0.000000");
  EXPECT_GE(std::stod(events[1].time), 0.0);
}

TEST(KLoggerDump, ShowsTheLastRecordsOldestFirstAndEmptiesTheLog) {
  constexpr auto kCapacity = static_cast<std::int32_t>(KLogger::kCapacity);
  constexpr std::uint32_t kThreeBeforeTheCountWraps = 0xFFFFFFFFU - 2 * 3;
  const std::pair<std::uint32_t, std::int32_t> cases[] = {
      {1, 1}, {1, kCapacity}, {1, kCapacity + 5}, {kThreeBeforeTheCountWraps, kCapacity + 7}};
  for (const auto& [counter, writes] : cases) {
    KLogger log;
    KLoggerProbe::Counter(log) = counter;
    WriteNumbered(log, 0, writes);

    const std::vector<LoggedEvent> events = DumpEvents(log);

    const std::int32_t kept = (std::min)(writes, kCapacity);
    ASSERT_EQ(events.size(), static_cast<std::size_t>(kept));
    for (std::int32_t i = 0; i < kept; ++i) {
      ASSERT_EQ(events[static_cast<std::size_t>(i)].value1, writes - kept + i);
    }
    EXPECT_EQ(events[0].time, "0.000000");
    EXPECT_EQ(KLoggerProbe::Counter(log), 1U);
    EXPECT_TRUE(DumpEvents(log).empty());

    WriteNumbered(log, 77, 1);
    EXPECT_EQ(static_cast<std::int32_t>(KLoggerProbe::Record(log, 0).value1), 77);
  }
}

// As `std::cerr` by default, a stream may flush each piece; standard libraries do so in a
// destructor, which must not throw.
TEST(KLoggerDump, AFailureAnywhereFreezesTheLogWithItsRecordsUnlessTheStreamMerelyTurnsBad) {
  constexpr std::ios_base::iostate kNone = std::ios_base::goodbit;
  const struct {
    bool throws;
    std::ios_base::iostate exceptions;
    std::size_t room;  // up to here in steps; the text is longer than 300, and shorter than 10000
    std::ios_base::fmtflags flags;
  } cases[] = {{true, kNone, 300, {}},
               {true, std::ios_base::badbit | std::ios_base::failbit, 300, {}},
               {false, std::ios_base::badbit, 300, {}},
               {false, std::ios_base::failbit, 300, {}},
               {false, kNone, 300, {}},
               {true, kNone, 10000, {}},
               {false, std::ios_base::badbit, 10000, {}},
               {true, kNone, 10000, std::ios_base::unitbuf},
               {false, std::ios_base::badbit, 10000, std::ios_base::unitbuf}};
  for (const auto& [throws, exceptions, room, flags] : cases) {
    for (std::size_t left = room == 300 ? 0 : room; left <= room; left += 23) {
      SCOPED_TRACE(left);
      KLogger log;
      WriteNumbered(log, 1, 3);
      const KLogRecord second = KLoggerProbe::Record(log, 1);
      FailingBuffer buffer(left, throws);
      std::ostream stream(&buffer);
      stream.setf(flags);
      stream.exceptions(exceptions);

      KLogger::Dump(&log, stream);

      EXPECT_TRUE(stream.bad());
      if (throws || exceptions != kNone) {
        EXPECT_EQ(KLoggerProbe::Counter(log), 3U << 1U);  // the count kept, disabled
        EXPECT_EQ(KLoggerProbe::Record(log, 1), second);
        WriteNumbered(log, 9, 1);
        EXPECT_EQ(log.FormatRecord(3, 0), "");
        // A later dump of the frozen log shows the records and sets it going again.
        EXPECT_EQ(DumpEvents(log).size(), 3U);
      }
      EXPECT_EQ(KLoggerProbe::Counter(log), 1U);
      EXPECT_EQ(log.FormatRecord(0, 0), "");
    }
  }
}

TEST(KLoggerDump, NullCoreAndMissingBufferAreIgnored) {
  std::ostringstream stream;
  KLogger::Dump(nullptr, stream);
  EXPECT_EQ(stream.str(), "");
  KLogger::Write(nullptr, 0, 0, 0, 0, 0, nullptr);
  KLogger log;
  KLoggerProbe::DropBuffer(log);
  WriteNumbered(log, 1, 3);
  EXPECT_EQ(KLoggerProbe::Counter(log), 1U);  // not even counted
  EXPECT_TRUE(DumpEvents(log).empty());
}

// The fixed file, and whatever of it and its folder the machine lacks. Left as it was found, except
// that an earlier dump is gone.
class DebugDumpFile : public testing::Test {
 protected:
  DebugDumpFile() {
    std::filesystem::remove(file_);
    WriteNumbered(log_, 1, 3);
  }
  ~DebugDumpFile() override {
    std::filesystem::remove(file_);
    if (!folderWasThere_) {
      std::filesystem::remove(folder_);
    }
  }

  const std::filesystem::path file_ = Velta::Platform::kDebugDumpPath;
  const std::filesystem::path folder_ = file_.parent_path();
  const bool folderWasThere_ = std::filesystem::exists(folder_);
  KLogger log_;
};

TEST_F(DebugDumpFile, IsReplacedByTheDumpEvenWhileAnotherReadsIt) {
  std::filesystem::create_directories(folder_);
  std::ofstream(file_) << std::string(100000, 'x');
  const std::ifstream other(file_);

  EXPECT_TRUE(MKLoggerAdapter(&log_).DumpToFile());

  std::ifstream written(file_);
  const std::string text(std::istreambuf_iterator<char>(written), {});
  EXPECT_EQ(LogReader::Events(text).size(), 3U);
  EXPECT_EQ(KLoggerProbe::Counter(log_), 1U);
}

TEST_F(DebugDumpFile, ThatCannotBeOpenedLeavesTheLogUntouched) {
  // A folder in the file's place, or no folder for the file at all.
  if (folderWasThere_) {
    std::filesystem::create_directory(file_);
  }
  EXPECT_FALSE(MKLoggerAdapter(&log_).DumpToFile());
  EXPECT_EQ(KLoggerProbe::Counter(log_), 1U + 2U * 3U);
  EXPECT_NE(log_.FormatRecord(2, 0), "");
}

#if !defined(_WIN32)
// Anyone may put a link under that name, so that another user's host overwrites one of its own
// user's files.
TEST_F(DebugDumpFile, IsARegularFileOfTheUsersOwnOrIsLeftAlone) {
  const Watchdog watchdog("a dump into a pipe");
  const std::filesystem::path victim = file_.string() + ".victim";
  std::ofstream(victim) << "kept";
  const auto makePipe = [this] { ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0); };
  int reader = -1;
  const std::function<void()> traps[] = {[&] { std::filesystem::create_symlink(victim, file_); },
                                         [&] { std::filesystem::create_hard_link(victim, file_); },
                                         makePipe,
                                         [&] {
                                           makePipe();
                                           reader = ::open(file_.c_str(), O_RDONLY | O_NONBLOCK);
                                         }};
  for (const auto& lay : traps) {
    lay();
    EXPECT_FALSE(log_.DumpToFile());
    std::filesystem::remove(file_);
  }
  ::close(reader);
  std::filesystem::rename(victim, file_);
  if (::geteuid() == 0) {
    std::filesystem::permissions(file_, std::filesystem::perms::all);
    const OrdinaryUser user;
    EXPECT_FALSE(log_.DumpToFile());
  }
  EXPECT_EQ(std::filesystem::file_size(file_), 4U);
  EXPECT_EQ(KLoggerProbe::Counter(log_), 1U + 2U * 3U);

  std::filesystem::remove(file_);
  EXPECT_TRUE(log_.DumpToFile());
  EXPECT_EQ(std::filesystem::status(file_).permissions(), std::filesystem::perms(0600));
}

TEST_F(DebugDumpFile, OnAFullDiskCostsNoRecord) {
  WriteNumbered(log_, 4, 2997);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit full{100000, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);

  EXPECT_TRUE(log_.DumpToFile());

  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(std::filesystem::file_size(file_), 100000U);
  EXPECT_EQ(DumpEvents(log_).size(), 3000U);
}
#endif

}  // namespace
