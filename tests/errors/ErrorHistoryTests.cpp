// SPDX-License-Identifier: MIT
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/KLogger.h"
#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ios>
#include <iterator>
#include <map>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

/// An entry of the history as a reader that knows nothing of the library takes it.
struct Entry {
  std::map<std::string, std::string> fields;
  std::vector<std::string> parameters;  // "name=value"
};

std::vector<Entry> History() {
  std::stringstream text;
  EXPECT_TRUE(MErrorHistory::Dump(text));
  std::vector<Entry> entries;
  for (std::string line; std::getline(text, line);) {
    const std::string key = line.substr(0, line.find(' '));
    const std::string value = line.substr(key.size() + 1);
    if (key == "error") {
      entries.emplace_back();
    } else if (entries.empty() || key == "end") {
      continue;
    } else if (key == "parameter") {
      entries.back().parameters.push_back(value + '=');
    } else if (key == "value") {
      entries.back().parameters.back() += value;
    }
    if (!entries.empty()) {
      entries.back().fields.emplace(key, value);
    }
  }
  return entries;
}

/// What stands in the log's own record; empty when the entry names none, or another one.
std::string RecordOf(const Entry& entry) {
  const auto record = entry.fields.find("record");
  if (record == entry.fields.end()) {
    return "";
  }
  const auto number = static_cast<std::uint32_t>(std::stoul(record->second));
  const std::string text = KLogger::Instance()->FormatRecord(number % KLogger::kCapacity,
                                                             std::stoll(entry.fields.at("time")));
  std::istringstream numbers(record->second);
  std::string index, event, error, ofClass, point;
  numbers >> index >> event >> error >> ofClass >> point;
  const auto object =
      static_cast<std::int64_t>(std::stoull(entry.fields.at("object"), nullptr, 16));
  const std::string expected = "    0.000000, " + event + ", " + error + ", " +
                               entry.fields.at("line") + ", " + ofClass + ", " + point + ", " +
                               std::to_string(object) + ", " + entry.fields.at("thread");
  const std::size_t second = text.find('\n');
  EXPECT_EQ(text.substr(second + 1), expected);
  return text.substr(2, text.find(" in_class") - 2);
}

TEST(MErrorHistory, EveryWayToRaiseIsKeptOnceWithTheLogsOwnRecord) {
  MFlowPoint point(L"HistoryTests", L"Raise");
  const std::string text = "a.xml";
  const MError stored = [] {
    MError error(L"Other.Operation:Stored");
    error.AddParameter(L"p", L"v");
    return error;
  }();
  const auto made = [&point](const wchar_t* name) {
    MError error = point.MakeRootError(name);
    error.AddParameter(L"later", L"1");
    return error;
  };
  const struct {
    std::function<void()> action;
    std::vector<std::string> parameters;
    std::string record;
  } cases[] = {
      {[&] { point.Raise(L"Number", L"status", 4000000000U); },
       {"status=4000000000"},
       "Root_error Number"},
      {[&] { point.Raise(L"Text", L"file", text); }, {"file=a.xml"}, "Root_error Text"},
      {[&] { point.Raise(L"List", {{L"b", 2}, {L"a", true}}); },
       {"a=true", "b=2"},
       "Root_error List"},
      {[&] { point.RaiseFromException(std::runtime_error("why"), L"Caught", L"file", text); },
       {"errorMessage=why", "file=a.xml"},
       "Cascade_error Caught"},
      {[&] { static_cast<void>(point.MakeRootError(L"Made", {{L"p", L"1"}})); },
       {"p=1"},
       "Root_error Made"},
      {[&] { static_cast<void>(point.MakeCascadeError(L"Led", {{L"p", L"1"}})); },
       {"p=1"},
       "Cascade_error Led"},
      {[&] { point.Throw(point.MakeRootError(L"MadeAndThrown", {{L"p", L"1"}})); },
       {"p=1"},
       "Root_error MadeAndThrown"},
      {[&] {
         const MError error = made(L"Later");
         const MFlowScope scope = point.OpenScope();
         point.Throw(error);
       },
       {"later=1"},
       "Root_error Later"},
      {[&] { MFlowPoint(L"HistoryTests", L"Other").Throw(stored); }, {"p=v"}, ""},
      {[&] { point.Raise(L"None"); }, {}, ""},
      {[&] { point.Throw(point.MakeRootError(L"None", {})); }, {}, ""},
  };
  for (const auto& [action, parameters, record] : cases) {
    SCOPED_TRACE(record);
    const std::vector<Entry> before = History();
    try {
      point.At(&action);
      action();
    } catch (const MException&) {
    }
    const std::vector<Entry> after = History();
    if (parameters.empty()) {
      EXPECT_EQ(after.size(), before.size());
      continue;
    }
    ASSERT_EQ(after.size(), before.size() + 1);
    EXPECT_EQ(after.back().parameters, parameters);
    EXPECT_EQ(RecordOf(after.back()), record);
    EXPECT_EQ(after.back().fields.at("class"), "HistoryTests");
  }
}

TEST(MErrorHistory, AnErrorOfATimeWithoutALogHasNoRecordOfAnotherOne) {
  static MFlowPoint point(L"HistoryTests", L"Frozen");
  const auto raise = [] {
    try {
      point.Raise(L"Bad", L"n", 1U);
    } catch (const MException&) {
    }
  };
  raise();
  class RaisingBuffer : public std::stringbuf {  // the log is disabled while it is dumped
   public:
    explicit RaisingBuffer(std::function<void()> action) : action_(std::move(action)) {}

   protected:
    std::streamsize xsputn(const char* text, std::streamsize length) override {
      if (action_) {
        std::exchange(action_, nullptr)();
      }
      return std::stringbuf::xsputn(text, length);
    }

   private:
    std::function<void()> action_;
  } buffer(raise);
  std::ostream stream(&buffer);
  MFlowLogger::Instance()->Dump(stream);
  const std::vector<Entry> entries = History();
  ASSERT_GE(entries.size(), 2U);
  EXPECT_THAT(entries.back().parameters, ElementsAre("n=1"));
  EXPECT_EQ(entries.back().fields.count("record"), 0U);
  EXPECT_EQ(entries[entries.size() - 2].fields.count("record"), 1U);
}

TEST(MErrorHistory, AFileHoldsWhatAStreamGets) {
  const std::filesystem::path file =
      std::filesystem::path(testing::TempDir()) / u8"velta_history_\u00e9.log.errors";
  ASSERT_TRUE(MErrorHistory::DumpToFile(file));
  std::ostringstream expected;
  ASSERT_TRUE(MErrorHistory::Dump(expected));
  std::ifstream stream(file, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), expected.str());
  stream.close();
  std::filesystem::remove(file);
  EXPECT_FALSE(MErrorHistory::DumpToFile(file / "below" / "a file"));
}

}  // namespace
