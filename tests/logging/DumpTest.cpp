// SPDX-License-Identifier: MIT
#include "KLoggerProbe.h"
#include "velta/logging/MKLoggerAdapter.h"
#include "velta/platform/internal/DebugDumpFile.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <streambuf>

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

// Takes `room` bytes, then throws or, as a full disk does, refuses.
class NarrowBuffer : public std::streambuf {
 public:
  enum class Full { kThrows, kRefuses };

  NarrowBuffer(std::size_t bytes, Full manner) : room(bytes), full(manner) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize length) override {
    for (std::streamsize i = 0; i < length; ++i) {
      if (overflow(static_cast<unsigned char>(text[i])) == traits_type::eof()) {
        return i;
      }
    }
    return length;
  }
  int_type overflow(int_type byte) override {
    if (room == 0) {
      if (full == Full::kThrows) {
        throw std::runtime_error("no room");
      }
      return traits_type::eof();
    }
    --room;
    return byte;
  }

 private:
  std::size_t room;
  Full full;
};

TEST(KLoggerDump, EmptyLogIsTwoHeaderLinesAndAPause) {
  KLogger log;
  // Noon at Greenwich in the middle of the month: the same day, month and year everywhere.
  KLoggerProbe::SetClock(log, 1000, 12345, 1789473600, 7);
  const auto begin = std::chrono::steady_clock::now();

  const std::string text = DumpText(log);

  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(9));
  EXPECT_THAT(text, MatchesRegex("%% Reference time: 12\\.345000 is approximately 7ms past "
                                 "Tue Sep 15 ..:..:00 2026\n%%\n"));
  EXPECT_EQ(KLoggerProbe::Counter(log), 1U);

  KLoggerProbe::SetClock(log, 1000, 0, -1, 0);  // no time that can be shown
  EXPECT_EQ(DumpText(log), "%% Reference time: 0.000000 is wrong.\n%%\n");
}

TEST(KLoggerDump, TimesAreRelativeToTheFirstRecordWhichIsLaterThanTheLogItself) {
  KLogger log;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::system_clock::now().time_since_epoch());
  EXPECT_NEAR(static_cast<double>(KLoggerProbe::StartSeconds(log)),
              static_cast<double>(seconds.count()), 60.0);
  WriteNumbered(log, 0, 2);

  const std::string text = DumpText(log);
  const LogReader dump(text);

  EXPECT_THAT(dump.header, testing::StartsWith("%% Reference time: -0."));
  ASSERT_EQ(dump.events.size(), 2U);
  EXPECT_EQ(dump.events[0].time, "0.000000");
  EXPECT_GE(std::stod(dump.events[1].time), 0.0);
  EXPECT_EQ(text.find('\r'), std::string::npos);
}

TEST(KLoggerDump, ShowsTheLastRecordsOldestFirstAndEmptiesTheLog) {
  constexpr auto kCapacity = static_cast<std::int32_t>(KLogger::kCapacity);
  constexpr std::uint32_t kThreeBeforeTheCountWraps = 0xFFFFFFFFU - 2 * 3;
  const std::pair<std::uint32_t, std::int32_t> cases[] = {
      {1, 1}, {1, kCapacity}, {1, kCapacity + 5}, {kThreeBeforeTheCountWraps, kCapacity + 7}};
  for (const auto& [counter, writes] : cases) {
    KLogger log;
    KLoggerProbe::SetCounter(log, counter);
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

TEST(KLoggerDump, AFailureAnywhereFreezesTheLogWithItsRecordsUnlessTheStreamMerelyTurnsBad) {
  const struct {
    NarrowBuffer::Full full;
    std::ios_base::iostate exceptions;
    bool freezes;
  } cases[] = {{NarrowBuffer::Full::kThrows, std::ios_base::goodbit, true},
               {NarrowBuffer::Full::kThrows, std::ios_base::badbit | std::ios_base::failbit, true},
               {NarrowBuffer::Full::kRefuses, std::ios_base::badbit, true},
               {NarrowBuffer::Full::kRefuses, std::ios_base::failbit, true},
               {NarrowBuffer::Full::kRefuses, std::ios_base::goodbit, false}};
  for (const auto& sample : cases) {
    for (std::size_t room = 0; room < 300; room += 23) {  // the text is longer
      SCOPED_TRACE(room);
      KLogger log;
      WriteNumbered(log, 1, 3);
      const KLogRecord second = KLoggerProbe::Record(log, 1);
      NarrowBuffer buffer(room, sample.full);
      std::ostream stream(&buffer);
      stream.exceptions(sample.exceptions);

      KLogger::Dump(&log, stream);

      EXPECT_TRUE(stream.bad());
      if (sample.freezes) {
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

// What a dump leaves in the buffer must get out before the log is emptied. As `std::cerr` by
// default, a stream may flush each piece; standard libraries do so in a destructor, which must not
// throw.
TEST(KLoggerDump, AStreamThatFailsToFlushFreezesTheLogAsWell) {
  struct Unsynchronised : std::stringbuf {
    bool throws = false;
    int sync() override { return throws ? throw std::runtime_error("no way on") : -1; }
  };
  for (const bool eachPiece : {true, false}) {
    for (const bool throws : {true, false}) {
      KLogger log;
      WriteNumbered(log, 1, 3);
      Unsynchronised buffer;
      buffer.throws = throws;
      std::ostream stream(&buffer);
      if (eachPiece) {
        stream << std::unitbuf;
      }
      if (!throws) {
        stream.exceptions(std::ios_base::badbit);
      }

      KLogger::Dump(&log, stream);

      EXPECT_TRUE(stream.bad());
      EXPECT_EQ(KLoggerProbe::Counter(log), 3U << 1U);
      EXPECT_EQ(DumpEvents(log).size(), 3U);
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
  EXPECT_EQ(log.FormatRecord(0, 0), "");
  EXPECT_TRUE(DumpEvents(log).empty());
}

// The fixed file, and whatever of it and its folder the machine lacks. Left as it was found, except
// that an earlier dump is gone.
class DebugDumpFile : public testing::Test {
 protected:
  const std::filesystem::path file = Velta::Platform::kDebugDumpPath;
  const std::filesystem::path folder = file.parent_path();
  const bool folderWasThere = std::filesystem::exists(folder);

  void SetUp() override { std::filesystem::remove(file); }
  void TearDown() override {
    std::filesystem::remove(file);
    if (!folderWasThere) {
      std::filesystem::remove(folder);
    }
  }
};

TEST_F(DebugDumpFile, IsReplacedByTheDumpEvenWhileAnotherReadsIt) {
  std::filesystem::create_directories(folder);
  std::ofstream(file) << std::string(100000, 'x');
  const std::ifstream other(file);
  KLogger log;
  WriteNumbered(log, 1, 3);
  MKLoggerAdapter adapter(&log);

  EXPECT_TRUE(adapter.DumpToFile());

  std::ifstream written(file);
  const std::string text(std::istreambuf_iterator<char>(written), {});
  EXPECT_EQ(LogReader::Events(text).size(), 3U);
  EXPECT_EQ(KLoggerProbe::Counter(log), 1U);
}

TEST_F(DebugDumpFile, ThatCannotBeOpenedLeavesTheLogUntouched) {
  // A folder in the file's place, or no folder for the file at all.
  if (folderWasThere) {
    std::filesystem::create_directory(file);
  }
  KLogger log;
  WriteNumbered(log, 1, 3);
  MKLoggerAdapter adapter(&log);

  EXPECT_FALSE(adapter.DumpToFile());

  EXPECT_EQ(KLoggerProbe::Counter(log), 1U + 2U * 3U);
  EXPECT_NE(log.FormatRecord(2, 0), "");
}

#if !defined(_WIN32)
// Anyone may put a link under that name, so that another user's host overwrites one of its own
// user's files.
TEST_F(DebugDumpFile, IsARegularFileOfTheUsersOwnOrIsLeftAlone) {
  const Watchdog watchdog("a dump into a pipe");
  const std::filesystem::path victim = file.string() + ".victim";
  std::ofstream(victim) << "kept";
  KLogger log;
  WriteNumbered(log, 1, 3);
  int reader = -1;
  const std::function<void()> traps[] = {[&] { std::filesystem::create_symlink(victim, file); },
                                         [&] { std::filesystem::create_hard_link(victim, file); },
                                         [&] { ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); },
                                         [&] {
                                           ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
                                           reader = ::open(file.c_str(), O_RDONLY | O_NONBLOCK);
                                         }};
  for (const auto& lay : traps) {
    lay();
    EXPECT_FALSE(log.DumpToFile());
    std::filesystem::remove(file);
  }
  ::close(reader);
  if (::geteuid() == 0) {
    std::filesystem::rename(victim, file);
    std::filesystem::permissions(file, std::filesystem::perms::all);
    const OrdinaryUser user;
    EXPECT_FALSE(log.DumpToFile());
  } else {
    std::filesystem::rename(victim, file);
  }
  EXPECT_EQ(std::filesystem::file_size(file), 4U);
  EXPECT_EQ(KLoggerProbe::Counter(log), 1U + 2U * 3U);

  std::filesystem::remove(file);
  EXPECT_TRUE(log.DumpToFile());
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
}

TEST_F(DebugDumpFile, OnAFullDiskCostsNoRecord) {
  KLogger log;
  WriteNumbered(log, 1, 3000);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit full{100000, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);

  EXPECT_TRUE(log.DumpToFile());

  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(std::filesystem::file_size(file), 100000U);
  EXPECT_EQ(DumpEvents(log).size(), 3000U);
}
#endif

}  // namespace
