// SPDX-License-Identifier: MIT
#include "velta/logging/internal/ErrorRing.h"

#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"
#include "velta/logging/internal/ErrorHistoryText.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Velta::Logging;
using testing::HasSubstr;

using Parameters = std::map<std::wstring, std::wstring>;

struct OwnRing {
  std::unique_ptr<ErrorRing::Slots> slots = std::make_unique<ErrorRing::Slots>();
  ErrorRing ring{*slots};

  void Keep(const Parameters& parameters, const ErrorFacts& facts = {}) {
    ring.Keep(facts, {L"Class", L"Operation", L"Class.Operation:Bad", parameters});
  }

  std::string Text() const {
    std::ostringstream stream;
    EXPECT_TRUE(WriteErrorHistory(ring, stream));
    return stream.str();
  }
};

TEST(ErrorRing, AnErrorIsWrittenWithExactNumbers) {
  OwnRing own;
  own.ring.SetClock({-5, 10'000'000, 1'763'723'802'383});
  own.Keep({{L"file", L"a.xml"}, {L"", L""}}, {.time = INT64_MIN,
                                               .object = UINT64_MAX - 1,
                                               .threadId = UINT32_MAX,
                                               .line = -1,
                                               .record = 0x7FFFFFFF,
                                               .event = -105,
                                               .classKey = INT32_MIN,
                                               .pointKey = 7,
                                               .errorKey = INT32_MAX});
  own.ring.Keep({.time = 3, .threadId = 8}, {nullptr, nullptr, L"", {}});
  EXPECT_EQ(own.Text(),
            "velta-errors 1\nmade 1763723802383\nfrequency 10000000\nstart -5\n"
            "error 0\nrecord 2147483647 -105 2147483647 -2147483648 7\n"
            "time -9223372036854775808\nthread -1\nline -1\nobject FFFFFFFFFFFFFFFE\n"
            "class Class\noperation Operation\ncode Class.Operation:Bad\n"
            "parameter \nvalue \nparameter file\nvalue a.xml\n"
            "error 1\ntime 3\nthread 8\nline 0\nobject 0000000000000000\n"
            "class \noperation \ncode \n"
            "end 2 of 2\n");
}

TEST(ErrorRing, NoContentBreaksALine) {
  const struct {
    std::wstring value;
    std::string line;
  } cases[] = {
      {L"C:\\a b\\", "value C:\\a b\\"},
      {L"5% %{a}%%{ %", "value 5% %{25}{a}%%{25}{ %"},
      {L"one\ntwo\r\n\tthree", "value one%{a}two%{d}%{a}%{9}three"},
      {std::wstring(L"\0\x1B\x7F", 3), "value %{0}%{1b}%{7f}"},
      {L"\x85\xA0\x2028\x2029", "value %{85}\xC2\xA0%{2028}%{2029}"},
      {L"\xD800", "value %{d800}"},
      {L"\xDFFF\xDC00x", "value %{dfff}%{dc00}x"},
      {L"\xE9\x4E0A\U0001F600", "value \xC3\xA9\xE4\xB8\x8A\xF0\x9F\x98\x80"},
      {L"end 0 of 0\nvelta-errors 1", "value end 0 of 0%{a}velta-errors 1"},
  };
  for (const auto& [value, line] : cases) {
    OwnRing own;
    own.Keep({{L"p", value}});
    EXPECT_THAT(own.Text(), HasSubstr("parameter p\n" + line + "\nend 1 of 1\n"));
  }
}

TEST(ErrorRing, WhatIsTooLongIsCutBetweenCharactersAndSaysSo) {
  OwnRing own;
  const std::wstring wide(400, L'\x4E0A');  // three bytes each
  own.Keep({{L"a", wide}, {L"b", L"short"}, {wide, wide}});
  const std::string text = own.Text();
  // A short value leaves its share to the one after it.
  EXPECT_THAT(text, HasSubstr("parameter b\nvalue short\nparameter-cut \xE4\xB8\x8A"));
  std::istringstream lines(text);
  int cuts = 0;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t cut = line.find("-cut ");
    if (cut != std::string::npos) {
      ++cuts;
      EXPECT_EQ((line.size() - cut - 5) % 3, 0U) << line;
    }
  }
  EXPECT_EQ(cuts, 3);

  Parameters many;
  for (int i = 0; i < 100; ++i) {
    many[std::to_wstring(1000 + i)] = std::wstring(20, L'x');
  }
  OwnRing full;
  full.Keep(many);
  const std::string shown = full.Text();
  std::size_t values = 0;
  for (std::size_t at = 0; (at = shown.find("\nvalue", at)) != std::string::npos; ++at) {
    ++values;
  }
  EXPECT_THAT(shown, HasSubstr("x\nleft-out " + std::to_string(100 - values) + "\nend 1 of 1\n"));
}

TEST(ErrorRing, TheLastStayAndAWriterThatNeverFinishedCostsOneSlot) {
  OwnRing own;
  for (int i = 0; i < 300; ++i) {
    if (i == 280) {
      (*own.slots)[30][0].store(2 * 30 + 1);  // as if its writer had died
    }
    own.Keep({{L"i", std::to_wstring(i)}});
  }
  const std::string text = own.Text();
  EXPECT_THAT(text, HasSubstr("start 0\nerror 44\n"));
  EXPECT_THAT(text, HasSubstr("parameter i\nvalue 285\n"));
  EXPECT_THAT(text, testing::Not(HasSubstr("value 286\n")));
  EXPECT_THAT(text, HasSubstr("value 299\nend 255 of 300\n"));

  std::ostringstream broken;
  broken.setstate(std::ios_base::failbit);
  EXPECT_FALSE(WriteErrorHistory(own.ring, broken));
}

// Each error says the same number in all its parts: a mixture of two shows.
TEST(ErrorRing, WhatAReaderSeesWhileFourThreadsWriteIsWhole) {
  const Watchdog watchdog("four threads write errors", std::chrono::seconds(120));
  constexpr std::uint64_t kThreads = 4;
  const auto rounds = static_cast<std::uint64_t>(StressRounds(200'000));
  OwnRing own;
  std::atomic<std::uint64_t> running{kThreads};
  std::vector<std::thread> writers;
  for (std::uint64_t t = 0; t < kThreads; ++t) {
    writers.emplace_back([&, t] {
      for (std::uint64_t i = 0; i < rounds; ++i) {
        const std::uint64_t number = i * kThreads + t;
        own.Keep({{L"n", std::wstring(number % 40, L'x') + std::to_wstring(number)}},
                 {.time = static_cast<std::int64_t>(number), .object = ~number});
      }
      running.fetch_sub(1);
    });
  }
  KeptError error;
  std::uint64_t seen = 0;
  for (bool last = false; !last;) {
    last = running.load() == 0 || HasFailure();
    const std::uint64_t next = own.ring.Next();
    const std::uint64_t first = next - (std::min)(next, std::uint64_t{256});
    // Those that are overwritten next; in the end all.
    for (std::uint64_t at = first; at < (last ? next : (std::min)(next, first + 4)); ++at) {
      if (!own.ring.Read(at, error)) {
        continue;
      }
      ++seen;
      const auto number = static_cast<std::uint64_t>(error.facts.time);
      EXPECT_EQ(error.facts.object, ~number);
      std::vector<std::string> texts;
      while (const auto text = error.NextText()) {
        texts.emplace_back(text->bytes);
      }
      ASSERT_THAT(texts,
                  testing::ElementsAre("Class", "Operation", "Class.Operation:Bad", "n",
                                       std::string(number % 40, 'x') + std::to_string(number)));
    }
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  EXPECT_EQ(own.ring.Next(), rounds * kThreads);
  EXPECT_GT(seen, 0U);
}

}  // namespace
