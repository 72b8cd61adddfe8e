// SPDX-License-Identifier: MIT
#include "DumpReader.h"

#include "EventCode.h"
#include "WallClock.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace veltalog {
namespace {

constexpr std::size_t kReportedPlaces = 10;
// No name is that long; text without line breaks must not fill the memory.
constexpr std::size_t kLongestLine = 1U << 20U;
// Some three thousand years: differences of times then stay far from the ends of 64 bits.
constexpr std::int64_t kMostSeconds = 100'000'000'000;

constexpr std::string_view kReferenceTime = "%% Reference time: ";
constexpr std::string_view kRecord = "% ";
constexpr std::string_view kForObject = " for_object ";
constexpr std::string_view kInThread = ") in_thread ";

/// Eats a text from its front; everything it offers fails without effect on the rest.
class Cursor {
 public:
  explicit Cursor(std::string_view text) noexcept : rest(text) {}

  bool Skip(std::string_view prefix) noexcept {
    if (!rest.starts_with(prefix)) {
      return false;
    }
    rest.remove_prefix(prefix.size());
    return true;
  }

  template <typename Number>
  bool Read(Number& number) noexcept {
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    if (error != std::errc()) {
      return false;
    }
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    return true;
  }

  /// Seconds with six decimals; the sign stands before both.
  bool ReadTime(Micros& time) noexcept {
    const bool negative = Skip("-");
    std::int64_t seconds = 0;
    if (rest.starts_with('-') || !Read(seconds) || seconds > kMostSeconds || !Skip(".")) {
      return false;
    }
    const std::size_t before = rest.size();
    std::uint32_t micros = 0;
    if (!Read(micros) || before - rest.size() != 6) {
      return false;
    }
    time = seconds * 1'000'000 + micros;
    if (negative) {
      time = -time;
    }
    return true;
  }

  [[nodiscard]] bool AtEnd() const noexcept { return rest.empty(); }
  [[nodiscard]] std::string_view Rest() const noexcept { return rest; }

 private:
  std::string_view rest;
};

/// Cuts `text` at the first `separator` and returns what stands before; nothing without one.
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

  /// Names may hold nearly anything: the numbers say where those of objects and threads end, and
  /// the words between the others are taken where they first stand.
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
    char* end = kForObject.copy(anchor, kForObject.size()) + anchor;
    for (int shift = 60; shift >= 0; shift -= 4) {
      *end++ = "0123456789ABCDEF"[static_cast<std::uint64_t>(object) >> shift & 0xF];
    }
    *end++ = ' ';
    *end++ = '(';
    return {anchor, end};
  }

  std::string_view ThreadAnchor(std::int32_t threadId) noexcept {
    char* end = kInThread.copy(anchor, kInThread.size()) + anchor;
    end = std::to_chars(end, anchor + sizeof anchor, threadId).ptr;
    *end++ = ' ';
    *end++ = '(';
    return {anchor, end};
  }

  char anchor[40];
};

/// Whether a record begins, and no name merely goes on after a line break.
bool BeginsRecord(std::string_view line) noexcept {
  return line.starts_with(kRecord) && BeginsWithEvent(line.substr(kRecord.size()));
}

std::string_view WithoutReturn(std::string_view line) noexcept {
  return line.substr(0, line.size() - (line.ends_with('\r') ? 1 : 0));
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

/// A point without a name goes by the number of its key, "point 1073815600".
std::uint32_t FindOperation(LogBuilder& builder, const Texts& texts, const Numbers& numbers) {
  const bool isUnnamed = texts.point == kUnnamed && numbers.pointKey != 0;
  return isUnnamed ? builder.FindOperation(texts.className,
                                           "point " + std::to_string(numbers.pointKey), true)
                   : builder.FindOperation(texts.className, texts.point, false);
}

}  // namespace

void DumpReader::Take(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const bool isWhole = end != std::string_view::npos;
    const std::string_view piece = bytes.substr(0, end);
    bytes.remove_prefix(isWhole ? end + 1 : bytes.size());
    if (partialLine.size() + piece.size() > kLongestLine) {
      skipsLine = true;
      partialLine.clear();
    }
    if (!isWhole) {
      if (!skipsLine) {
        partialLine += piece;
      }
    } else if (skipsLine) {
      skipsLine = false;
      inRecord = false;
      Report(++lineNumber, "a line of more than a megabyte");
    } else if (partialLine.empty()) {
      TakeLine(piece);
    } else {
      partialLine += piece;
      TakeLine(partialLine);
      partialLine.clear();
    }
  }
}

void DumpReader::Finish() {
  if (skipsLine || !partialLine.empty()) {
    Take("\n");
  }
  if (inRecord) {
    Report(lineNumber, "the text ends within a record");
  }
  inRecord = false;
  builder.FindNamesakes();
  if (!hasHeader && damage.count == 0) {
    Report(1, "no dump: the reference time is missing");
  }
}

void DumpReader::TakeLine(std::string_view line) {
  ++lineNumber;
  const bool isHeader = line.starts_with(kReferenceTime);
  if (inRecord) {
    if (!isHeader && !BeginsRecord(line)) {
      ContinueRecord(line);
      return;
    }
    Report(recordLine, "a record without its numbers");
    inRecord = false;
  }
  if (line.starts_with(kRecord)) {
    BeginRecord(line);
  } else if (line.starts_with("%%")) {
    TakeHeader(WithoutReturn(line));
  } else {
    Report(lineNumber, "not a line of a dump");
  }
}

void DumpReader::TakeHeader(std::string_view line) {
  if (line == "%%") {
    return;  // the second line
  }
  hasHeader = true;
  Cursor cursor(line);
  Micros start = 0;
  if (!cursor.Skip(kReferenceTime) || !cursor.ReadTime(start)) {
    Report(lineNumber, "a header line that tells no reference time");
    return;
  }
  if (cursor.Rest() == " is wrong.") {
    return;
  }
  unsigned milliseconds = 0;
  if (!cursor.Skip(" is approximately ") || !cursor.Read(milliseconds) ||
      !cursor.Skip("ms past ")) {
    Report(lineNumber, "a header line without the time of day");
    return;
  }
  const std::optional<Micros> wall = ParseWallClock(cursor.Rest());
  if (!wall) {
    Report(lineNumber, "a header line whose time of day is none");
    return;
  }
  // In an empty log's header the seconds count from the zero of the machine's counter, which may be
  // days ago. Its time 0 is the making of the log, unless a later dump has records.
  const Micros offset = *wall + Micros{milliseconds} * 1000 - std::min<Micros>(start, 0);
  if (!log.wallClock || log.records.empty()) {
    log.wallClock = offset;
  }
  shift = offset - *log.wallClock;
}

void DumpReader::BeginRecord(std::string_view line) {
  if (!hasHeader) {
    Report(lineNumber, "records without a reference time before them");
  }
  hasHeader = true;  // told once
  recordText = line.substr(kRecord.size());
  recordLine = lineNumber;
  inRecord = true;
}

void DumpReader::ContinueRecord(std::string_view line) {
  Numbers numbers;
  if (!numbers.Read(WithoutReturn(line))) {  // then a name has a line break here
    inRecord = recordText.size() + line.size() < kLongestLine;
    if (!inRecord) {
      Report(recordLine, "a record of more than a megabyte");
    }
    recordText += '\n';
    recordText += line;
    return;
  }
  inRecord = false;
  DropReturns(recordText);
  Texts texts;
  if (HoldsTwo(recordText) || !texts.Read(recordText, numbers)) {
    Report(lineNumber, "numbers that do not belong to the text before them");
    return;
  }
  log.records.push_back({.time = numbers.time + shift,
                         .object = static_cast<std::uint64_t>(numbers.object),
                         .code = numbers.code,
                         .value1 = numbers.value1,
                         .value2 = numbers.value2,
                         .operation = FindOperation(builder, texts, numbers),
                         .thread = builder.FindThread(numbers.threadId, texts.threadName),
                         .subject = log.names.Intern(texts.subject),
                         .objectName = log.names.Intern(texts.objectName)});
}

void DumpReader::Report(std::uint64_t line, std::string_view problem) {
  ++damage.count;
  if (damage.places.size() < kReportedPlaces) {
    damage.places.push_back({line, problem});
  }
}

}  // namespace veltalog
