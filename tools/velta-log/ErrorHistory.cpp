// SPDX-License-Identifier: MIT
#include "ErrorHistory.h"

#include "Events.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <tuple>
#include <utility>

namespace Velta::Logging {
namespace {

// No program keeps as many; a file must not fill the memory.
constexpr std::size_t kMostErrors = 65536;
constexpr std::size_t kMostParameters = 4096;
constexpr std::int64_t kMostSeconds = 100'000'000'000;
constexpr std::int64_t kMostFrequency = 1'000'000'000'000;

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

template <typename Number>
bool ReadNumber(std::string_view text, Number& number, int base = 10) noexcept {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

/// Cuts the text at the first blank and returns what is before it.
std::string_view Word(std::string_view& text) noexcept {
  const std::size_t end = (std::min)(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text.remove_prefix((std::min)(end + 1, text.size()));
  return word;
}

/// The bytes of the UTF-8 character at the front; 0 if there is none, or one that must be escaped.
std::size_t CharacterLength(std::string_view text) noexcept {
  const auto byte = [text](std::size_t at) -> unsigned {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
  };
  const auto follows = [&](std::size_t at, unsigned from, unsigned to) {
    return byte(at) >= from && byte(at) <= to;
  };
  const unsigned lead = byte(0);
  if (lead < 0x80) {
    return lead >= 0x20 && lead != 0x7F ? 1 : 0;
  }
  if (lead < 0xC2 || lead > 0xF4) {
    return 0;
  }
  if (lead < 0xE0) {
    return follows(1, lead == 0xC2 ? 0xA0 : 0x80, 0xBF) ? 2 : 0;
  }
  if (lead < 0xF0) {
    const bool isSeparator = lead == 0xE2 && byte(1) == 0x80 && follows(2, 0xA8, 0xA9);
    return follows(1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF) &&
                   follows(2, 0x80, 0xBF) && !isSeparator
               ? 3
               : 0;
  }
  return follows(1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF) &&
                 follows(2, 0x80, 0xBF) && follows(3, 0x80, 0xBF)
             ? 4
             : 0;
}

void AppendCharacter(std::string& text, std::uint32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += static_cast<char>(0xC0U | character >> 6U);
    text += static_cast<char>(0x80U | (character & 0x3FU));
  } else if (character >= 0xD800 && character <= 0xDFFF) {
    text += kReplacement;
  } else {
    text += static_cast<char>(0xE0U | character >> 12U);
    text += static_cast<char>(0x80U | (character >> 6U & 0x3FU));
    text += static_cast<char>(0x80U | (character & 0x3FU));
  }
}

/// Takes an escape off the text, "%{" and the character's number in hexadecimal and "}".
bool TakeEscape(std::string_view& text, std::string& plain) {
  const std::size_t end = text.find('}');
  std::uint32_t character = 0;
  if (end == std::string_view::npos || !ReadNumber(text.substr(2, end - 2), character, 16) ||
      character > 0xFFFF) {
    return false;
  }
  AppendCharacter(plain, character);
  text.remove_prefix(end + 1);
  return true;
}

bool ReadText(std::string_view line, bool isCut, ErrorText& text) {
  text.escaped = line;
  text.plain.clear();
  text.isCut = isCut;
  while (!line.empty()) {
    if (line.starts_with("%{")) {
      if (!TakeEscape(line, text.plain)) {
        return false;
      }
      continue;
    }
    const std::size_t length = CharacterLength(line);
    if (length == 0) {
      return false;
    }
    text.plain += line.substr(0, length);
    line.remove_prefix(length);
  }
  return true;
}

}  // namespace

void ErrorHistoryReader::Take(std::string_view bytes) {
  lines_.Take(bytes, [this](std::optional<std::string_view> line) {
    ++lineNumber_;
    if (line) {
      TakeLine(WithoutReturn(*line));
    } else {
      damage_.Report(lineNumber_, "a line longer than any of an error");
      hasError_ = false;
      step_ = step_ < Step::kErrorOrEnd ? Step::kNoHistory : Step::kSkip;
    }
  });
}

void ErrorHistoryReader::Finish() {
  // The end may lack its line break; a value without one is half a value.
  if (lines_.HasRest() && step_ != Step::kValue) {
    Take("\n");
  }
  if (step_ == Step::kAfterEnd || step_ == Step::kNoHistory) {
    return;
  }
  damage_.Report((std::max)(lineNumber_, std::uint64_t{1}), "the errors end without an end");
  if (step_ == Step::kValue) {
    error_.parameters.pop_back();
  }
  KeepError();
}

void ErrorHistoryReader::TakeLine(std::string_view line) {
  if (step_ == Step::kNoHistory) {
    return;  // reported once
  }
  std::string_view value = line;
  const std::string_view key = Word(value);
  if (step_ == Step::kSkip && key != "error" && key != "end") {
    return;
  }
  if (TakeField(key, value)) {
    return;
  }
  hasError_ = false;
  if (step_ < Step::kErrorOrEnd) {
    damage_.Report(lineNumber_, "no errors of a version that is known");
    step_ = Step::kNoHistory;
  } else if (step_ == Step::kAfterEnd) {
    damage_.Report(lineNumber_, "something after the end of the errors");
    step_ = Step::kNoHistory;
  } else {
    damage_.Report(lineNumber_, "not the line of an error that must stand here");
    step_ = Step::kSkip;
    if (key == "error" || key == "end") {
      static_cast<void>(TakeNext(key, value));
    }
  }
}

bool ErrorHistoryReader::TakeField(std::string_view key, std::string_view value) {
  const auto number = [&](std::string_view name, auto& field, Step next) {
    step_ = key == name && ReadNumber(value, field) ? next : step_;
    return step_ == next;
  };
  const auto text = [&](std::string_view name, ErrorText& field, Step next) {
    const bool isCut = key.starts_with(name) && key.substr(name.size()) == "-cut";
    step_ = (isCut || key == name) && ReadText(value, isCut, field) ? next : step_;
    return step_ == next;
  };
  switch (step_) {
    case Step::kVersion: {
      int version = 0;
      return number("velta-errors", version, Step::kMade) && version == 1;
    }
    case Step::kMade:
      return number("made", history_.startMs, Step::kFrequency);
    case Step::kFrequency:
      return number("frequency", frequency_, Step::kStart) && frequency_ >= 0 &&
             frequency_ <= kMostFrequency;
    case Step::kStart:
      return number("start", start_, Step::kErrorOrEnd);
    case Step::kRecordOrTime:
      return key == "record" ? TakeRecord(value) : key == "time" && TakeTime(value);
    case Step::kTime:
      return key == "time" && TakeTime(value);
    case Step::kThread:
      return number("thread", error_.threadId, Step::kLine);
    case Step::kLine:
      return number("line", error_.line, Step::kObject);
    case Step::kObject:
      step_ = Step::kClass;
      return key == "object" && value.size() == 16 && ReadNumber(value, error_.object, 16);
    case Step::kClass:
      return text("class", error_.className, Step::kOperation);
    case Step::kOperation:
      return text("operation", error_.operation, Step::kCode);
    case Step::kCode:
      hasError_ = text("code", error_.code, Step::kParameterOrNext);
      return hasError_;
    case Step::kParameterOrNext:
      if (key == "left-out") {
        return number("left-out", error_.leftOut, Step::kNext);
      }
      if (!key.starts_with("parameter")) {
        return TakeNext(key, value);
      }
      error_.parameters.emplace_back();
      return error_.parameters.size() <= kMostParameters &&
             text("parameter", error_.parameters.back().name, Step::kValue);
    case Step::kValue:
      return text("value", error_.parameters.back().value, Step::kParameterOrNext);
    case Step::kErrorOrEnd:
    case Step::kNext:
    case Step::kSkip:
      return TakeNext(key, value);
    case Step::kAfterEnd:
    case Step::kNoHistory:
      break;
  }
  return false;
}

bool ErrorHistoryReader::TakeRecord(std::string_view value) {
  std::uint32_t record = 0;
  std::int32_t classKey = 0;
  std::int32_t pointKey = 0;
  if (!ReadNumber(Word(value), record) || !ReadNumber(Word(value), error_.event) ||
      !ReadNumber(Word(value), error_.errorKey) || !ReadNumber(Word(value), classKey) ||
      !ReadNumber(value, pointKey)) {
    return false;
  }
  error_.record = record;
  step_ = Step::kTime;
  return true;
}

bool ErrorHistoryReader::TakeTime(std::string_view value) {
  std::int64_t time = 0;
  if (!ReadNumber(value, time) || frequency_ == 0) {
    return false;
  }
  // Without a sign: counters may wrap.
  const auto ticks = static_cast<std::int64_t>(static_cast<std::uint64_t>(time) -
                                               static_cast<std::uint64_t>(start_));
  const std::int64_t seconds = ticks / frequency_;
  if (seconds > kMostSeconds || seconds < -kMostSeconds) {
    return false;
  }
  error_.time = seconds * 1'000'000 + ticks % frequency_ * 1'000'000 / frequency_;
  step_ = Step::kThread;
  return true;
}

bool ErrorHistoryReader::TakeNext(std::string_view key, std::string_view value) {
  KeepError();
  if (key == "end") {
    return TakeEnd(value);
  }
  if (key != "error" || !ReadNumber(value, error_.number)) {
    return false;
  }
  step_ = Step::kRecordOrTime;
  return true;
}

void ErrorHistoryReader::KeepError() {
  if (hasError_ && history_.errors.size() < kMostErrors) {
    history_.errors.push_back(std::move(error_));
  }
  hasError_ = false;
  error_ = {};
}

bool ErrorHistoryReader::TakeEnd(std::string_view value) {
  std::uint64_t count = 0;
  std::uint64_t all = 0;
  if (!ReadNumber(Word(value), count) || Word(value) != "of" || !ReadNumber(value, all)) {
    return false;
  }
  step_ = Step::kAfterEnd;
  if (count != history_.errors.size() && damage_.count == 0) {
    damage_.Report(lineNumber_, "not as many errors as the end says");
  }
  return true;
}

namespace {

/// A dump cuts times to microseconds, after the subtraction of a time that it does not tell.
constexpr Micros kTolerance = 2;

// Of records that agree in all: more are never looked at.
constexpr std::size_t kMostCandidates = 64;

/// What the dump tells of an error's record and the history as well.
struct RecordKey {
  std::int32_t thread;
  std::int32_t event;
  std::int32_t errorKey;
  std::int32_t line;
  std::uint64_t object;

  friend auto operator<=>(const RecordKey&, const RecordKey&) = default;
};

struct Candidate {
  RecordKey key;
  Micros time;
  std::uint32_t record;
};

std::vector<Candidate> ErrorRecordsOf(const Log& log) {
  std::vector<Candidate> candidates;
  for (std::uint32_t i = 0; i < log.records.size(); ++i) {
    const Record& record = log.records[i];
    if (record.code == kRootError || record.code == kCascadeError) {
      candidates.push_back({{log.threads[record.thread].id, record.code, record.value1,
                             record.value2, record.object},
                            record.time,
                            i});
    }
  }
  std::ranges::sort(candidates, {}, [](const Candidate& candidate) {
    return std::tuple(candidate.key, candidate.time, candidate.record);
  });
  return candidates;
}

bool IsPlain(std::string_view text) noexcept {
  return std::ranges::all_of(text, [](char byte) { return byte >= 0x20 && byte < 0x7F; });
}

/// Whether the error that the record names is another one than the code's.
bool Contradicts(const Log& log, std::uint32_t record, const RaisedError& error) {
  const std::string_view name = log.Name(log.records[record].subject);
  if (error.code.isCut || name.empty() || name == kUnnamed || !IsPlain(name)) {
    return false;
  }
  std::string_view code = error.code.plain;
  if (!code.ends_with(name)) {
    return true;
  }
  code.remove_suffix(name.size());
  return !code.empty() && !code.ends_with(':');
}

/// The record of an error and those that agree with it in all that a dump tells.
std::vector<std::uint32_t> CandidatesOf(const Log& log, const std::vector<Candidate>& all,
                                        const RaisedError& error) {
  std::vector<std::uint32_t> records;
  if (!error.record) {
    return records;
  }
  const RecordKey key = {error.threadId, error.event, error.errorKey, error.line, error.object};
  const Micros time = AddSaturated(log.start, error.time);
  const auto keyAndTime = [](const Candidate& candidate) {
    return std::tuple(candidate.key, candidate.time);
  };
  auto at = std::ranges::lower_bound(all, std::tuple(key, AddSaturated(time, -kTolerance)), {},
                                     keyAndTime);
  for (; at != all.end() && at->key == key && at->time <= AddSaturated(time, kTolerance) &&
         records.size() < kMostCandidates;
       ++at) {
    if (!Contradicts(log, at->record, error)) {
      records.push_back(at->record);
    }
  }
  return records;
}

/// By how much a record's number is ahead of its place in the dump.
std::uint32_t Lead(const RaisedError& error, std::uint32_t place) noexcept {
  return (error.record.value_or(0) - place) & 0x7FFFFFFFU;
}

}  // namespace

RaisedErrors::RaisedErrors(const Log& log, ErrorHistory history) {
  const std::vector<Candidate> all = ErrorRecordsOf(log);
  std::vector<std::vector<std::uint32_t>> candidates;
  std::unordered_map<std::uint32_t, std::size_t> leads;
  for (const RaisedError& error : history.errors) {
    candidates.push_back(CandidatesOf(log, all, error));
    for (const std::uint32_t record : candidates.back()) {
      ++leads[Lead(error, record)];
    }
  }
  // The same for all records of a whole dump: it tells apart what was raised in the same moment.
  const auto lead = std::ranges::max_element(leads, {}, [](const auto& entry) {
    return std::pair(entry.second, ~entry.first);  // of equal ones the same in every run
  });
  for (std::size_t i = 0; i < history.errors.size(); ++i) {
    RaisedError& error = history.errors[i];
    const std::vector<std::uint32_t>& records = candidates[i];
    auto record = std::ranges::find_if(
        records, [&](std::uint32_t each) { return Lead(error, each) == lead->first; });
    if (record == records.end() && records.size() == 1) {
      record = records.begin();
    }
    if (record == records.end()) {
      withoutRecord_.push_back(std::move(error));
    } else {
      ofRecord_[*record] = found_.size();  // the later one knows more
      found_.push_back(std::move(error));
    }
  }
}

const RaisedError* RaisedErrors::Of(std::uint32_t record) const {
  const auto found = ofRecord_.find(record);
  return found != ofRecord_.end() ? &found_[found->second] : nullptr;
}

bool AreOfOneRun(const Log& log, const ErrorHistory& history) noexcept {
  constexpr Micros kQuarterOfAnHour = Micros{900} * 1'000'000;  // what time zones differ by
  if (!log.wallClock) {
    return true;
  }
  const Micros dump = AddSaturated(*log.wallClock, log.start) % kQuarterOfAnHour;
  const Micros errors = history.startMs % (kQuarterOfAnHour / 1000) * 1000;
  return dump == errors;
}

}  // namespace Velta::Logging
