// SPDX-License-Identifier: MIT
#include "DumpReader.h"

#include "Events.h"
#include "WallClock.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

namespace Velta::Logging {
namespace {

// Some three thousand years: differences of times then stay far from the ends of 64 bits.
constexpr std::int64_t kMostSeconds = 100'000'000'000;

constexpr std::string_view kReferenceTime = "%% Reference time: ";
constexpr std::string_view kRecord = "% ";
constexpr std::string_view kForObject = " for_object ";
constexpr std::string_view kInThread = ") in_thread ";

/// Reads a text from its front. What fails consumes nothing.
class Cursor {
 public:
  explicit Cursor(std::string_view text) noexcept : rest_(text) {}

  bool Skip(std::string_view prefix) noexcept {
    if (!rest_.starts_with(prefix)) {
      return false;
    }
    rest_.remove_prefix(prefix.size());
    return true;
  }

  template <typename Number>
  bool Read(Number& number) noexcept {
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc()) {
      return false;
    }
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return true;
  }

  /// Seconds with six decimals; the sign stands before both.
  bool ReadTime(Micros& time) noexcept {
    const bool negative = Skip("-");
    std::int64_t seconds = 0;
    if (rest_.starts_with('-') || !Read(seconds) || seconds > kMostSeconds || !Skip(".")) {
      return false;
    }
    const std::size_t before = rest_.size();
    std::uint32_t micros = 0;
    if (!Read(micros) || before - rest_.size() != 6) {
      return false;
    }
    time = seconds * 1'000'000 + micros;
    if (negative) {
      time = -time;
    }
    return true;
  }

  [[nodiscard]] bool AtEnd() const noexcept { return rest_.empty(); }
  [[nodiscard]] std::string_view Rest() const noexcept { return rest_; }

 private:
  std::string_view rest_;
};

/// Cuts `text` at the first `separator` and returns the part before it; nothing without one.
std::optional<std::string_view> CutAt(std::string_view& text, std::string_view separator) noexcept {
  const std::size_t found = text.find(separator);
  if (found == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view before = text.substr(0, found);
  text.remove_prefix(found + separator.size());
  return before;
}

struct Numbers {
  Micros time = 0;
  std::int32_t code = 0;
  std::int32_t value1 = 0;
  std::int32_t value2 = 0;
  std::int32_t classKey = 0;
  std::int32_t pointKey = 0;
  std::int64_t object = 0;
  std::int32_t threadId = 0;

  bool Read(std::string_view line) noexcept {
    Cursor cursor(line);
    const auto next = [&](auto& number) { return cursor.Skip(", ") && cursor.Read(number); };
    return cursor.Skip("    ") && cursor.ReadTime(time) && next(code) && next(value1) &&
           next(value2) && next(classKey) && next(pointKey) && next(object) && next(threadId) &&
           cursor.AtEnd();
  }
};

struct Texts {
  std::string_view subject;
  std::string_view className;
  std::string_view point;
  std::string_view objectName;
  std::string_view threadName = kUnknown;

  /// Names may hold nearly anything. The numbers locate those of objects and threads; the others
  /// are separated at the first place of the words between them.
  bool Read(std::string_view text, const Numbers& numbers) noexcept {
    Cursor cursor(text);
    if (!cursor.Skip(EventName(numbers.code))) {
      return false;
    }
    std::string_view rest = cursor.Rest();
    const auto before = CutAt(rest, " in_class ");
    const auto place = CutAt(rest, ObjectAnchor(numbers.object));
    if (!before || !place) {
      return false;
    }
    subject = SubjectName(*before, numbers);

    std::string_view points = *place;
    auto name = CutAt(points, " at ");
    if (!name && numbers.code == kTimingPoint) {
      name = CutAt(points, " at_point ");
      points = kUnnamed;
    }
    if (!name) {
      return false;
    }
    className = *name;
    point = points;

    if (!rest.ends_with(')')) {
      return false;
    }
    rest.remove_suffix(1);
    if (numbers.threadId == 0) {
      objectName = rest;
      return true;
    }
    const auto object = CutAt(rest, ThreadAnchor(numbers.threadId));
    if (!object) {
      return false;
    }
    objectName = *object;
    threadName = rest;
    return true;
  }

 private:
  static std::string_view SubjectName(std::string_view text, const Numbers& numbers) noexcept {
    if (numbers.code == kTimingPoint) {
      return {};  // the two values, which the numbers repeat
    }
    Cursor cursor(text);
    if (numbers.code == kStateChange) {
      cursor.Skip(" to");
    }
    cursor.Skip(" ");
    return cursor.Rest();
  }

  std::string_view ObjectAnchor(std::int64_t object) noexcept {
    char* end = kForObject.copy(anchor_, kForObject.size()) + anchor_;
    for (int shift = 60; shift >= 0; shift -= 4) {
      *end++ = "0123456789ABCDEF"[static_cast<std::uint64_t>(object) >> shift & 0xF];
    }
    *end++ = ' ';
    *end++ = '(';
    return {anchor_, end};
  }

  std::string_view ThreadAnchor(std::int32_t threadId) noexcept {
    char* end = kInThread.copy(anchor_, kInThread.size()) + anchor_;
    end = std::to_chars(end, anchor_ + sizeof anchor_, threadId).ptr;
    *end++ = ' ';
    *end++ = '(';
    return {anchor_, end};
  }

  char anchor_[40];
};

/// Whether a record begins here, rather than a name that continues after a line break.
bool BeginsRecord(std::string_view line) noexcept {
  return line.starts_with(kRecord) && BeginsWithEvent(line.substr(kRecord.size()));
}

/// A dump's own lines end with a bracket: one with a carriage return after it went through text
/// mode, which put one before each line break, also before those of names.
void DropReturns(std::string& text) {
  if (!text.ends_with('\r')) {
    return;
  }
  text += '\n';
  std::size_t kept = 0;
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] != '\r' || text[i + 1] != '\n') {
      text[kept++] = text[i];
    }
  }
  text.resize(kept);
}

/// Whether the lines of a text are those of two records, between which some of the dump is missing.
bool HoldsTwo(std::string_view text) noexcept {
  const auto repeats = [text](std::string_view word) {
    return text.find(word) != text.rfind(word);
  };
  return text.find('\n') != std::string_view::npos && (repeats(kForObject) || repeats(kInThread));
}

/// A point without a name is called by the number of its key, "point 1073815600".
std::uint32_t FindOperation(LogBuilder& builder, const Texts& texts, const Numbers& numbers) {
  const bool isUnnamed = texts.point == kUnnamed && numbers.pointKey != 0;
  return isUnnamed ? builder.FindOperation(texts.className,
                                           "point " + std::to_string(numbers.pointKey), true)
                   : builder.FindOperation(texts.className, texts.point, false);
}

}  // namespace

void DumpReader::Take(std::string_view bytes) {
  lines_.Take(bytes, [this](std::optional<std::string_view> line) {
    ++lineNumber_;
    if (line) {
      TakeLine(*line);
    } else {
      inRecord_ = false;
      damage_.Report(lineNumber_, "a line of more than a megabyte");
    }
  });
}

void DumpReader::Finish() {
  if (lines_.HasRest()) {
    Take("\n");
  }
  if (inRecord_) {
    damage_.Report(lineNumber_, "the text ends within a record");
  }
  inRecord_ = false;
  builder_.FindNamesakes();
  if (!hasHeader_ && damage_.count == 0) {
    damage_.Report(1, "no dump: the reference time is missing");
  }
}

void DumpReader::TakeLine(std::string_view line) {
  const bool isHeader = line.starts_with(kReferenceTime);
  if (inRecord_) {
    if (!isHeader && !BeginsRecord(line)) {
      ContinueRecord(line);
      return;
    }
    damage_.Report(recordLine_, "a record without its numbers");
    inRecord_ = false;
  }
  if (line.starts_with(kRecord)) {
    BeginRecord(line);
  } else if (line.starts_with("%%")) {
    TakeHeader(WithoutReturn(line));
  } else {
    damage_.Report(lineNumber_, "not a line of a dump");
  }
}

void DumpReader::TakeHeader(std::string_view line) {
  if (line == "%%") {
    return;  // the second line
  }
  hasHeader_ = true;
  Cursor cursor(line);
  Micros start = 0;
  if (!cursor.Skip(kReferenceTime) || !cursor.ReadTime(start)) {
    damage_.Report(lineNumber_, "a header line without a reference time");
    return;
  }
  if (log_.records.empty()) {
    log_.start = std::min<Micros>(start, 0);
  }
  if (cursor.Rest() == " is wrong.") {
    return;
  }
  unsigned milliseconds = 0;
  if (!cursor.Skip(" is approximately ") || !cursor.Read(milliseconds) ||
      !cursor.Skip("ms past ")) {
    damage_.Report(lineNumber_, "a header line without the time of day");
    return;
  }
  const std::optional<Micros> wall = ParseWallClock(cursor.Rest());
  if (!wall) {
    damage_.Report(lineNumber_, "a header line with an invalid time of day");
    return;
  }
  // In an empty log's header the seconds count from the zero of the machine's counter, which may be
  // days ago. Its time 0 is the construction of the log, unless a later dump has records.
  const Micros offset = *wall + Micros{milliseconds} * 1000 - std::min<Micros>(start, 0);
  if (!log_.wallClock || log_.records.empty()) {
    log_.wallClock = offset;
  }
  shift_ = offset - *log_.wallClock;
}

void DumpReader::BeginRecord(std::string_view line) {
  if (!hasHeader_) {
    damage_.Report(lineNumber_, "records without a reference time before them");
  }
  hasHeader_ = true;  // reported once
  recordText_ = line.substr(kRecord.size());
  recordLine_ = lineNumber_;
  inRecord_ = true;
}

void DumpReader::ContinueRecord(std::string_view line) {
  Numbers numbers;
  if (!numbers.Read(WithoutReturn(line))) {  // a name with a line break continues
    inRecord_ = recordText_.size() + line.size() < kLongestLine;
    if (!inRecord_) {
      damage_.Report(recordLine_, "a record of more than a megabyte");
    }
    recordText_ += '\n';
    recordText_ += line;
    return;
  }
  inRecord_ = false;
  DropReturns(recordText_);
  Texts texts;
  if (HoldsTwo(recordText_) || !texts.Read(recordText_, numbers)) {
    damage_.Report(lineNumber_, "numbers that do not belong to the text before them");
    return;
  }
  log_.records.push_back({.time = numbers.time + shift_,
                          .object = static_cast<std::uint64_t>(numbers.object),
                          .code = numbers.code,
                          .value1 = numbers.value1,
                          .value2 = numbers.value2,
                          .operation = FindOperation(builder_, texts, numbers),
                          .thread = builder_.FindThread(numbers.threadId, texts.threadName),
                          .subject = log_.names.Intern(texts.subject),
                          .objectName = log_.names.Intern(texts.objectName)});
}

}  // namespace Velta::Logging
