// SPDX-License-Identifier: MIT
#pragma once

#include "velta/logging/MFlowLogger.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

/// One event as a dump shows it, taken apart again.
struct LoggedEvent {
  std::string event;    ///< "State_change"
  std::string subject;  ///< what follows the event: "to Running", "WaitFailed", "(1, 2)", or empty
  std::string className;  ///< "(unknown)" when it has no name; likewise `pointName`
  std::string pointName;
  std::string objectName;  ///< "unknown" when it has no name; likewise `threadName`
  std::string threadName;
  std::string time;  ///< seconds since the first event of the dump
  std::int32_t code = 0;
  std::int32_t value1 = 0;
  std::int32_t value2 = 0;
  std::int32_t classKey = 0;
  std::int32_t pointKey = 0;
  std::uint64_t object = 0;
  std::uint32_t threadId = 0;

  /// "State_change to Running MEngineThread.ChangeState": what tests compare.
  [[nodiscard]] std::string Text() const {
    return event + (subject.empty() ? "" : " " + subject) + " " + className + "." + pointName;
  }

  [[nodiscard]] bool Concerns(const void* subjectObject) const {
    return object == reinterpret_cast<std::uintptr_t>(subjectObject);
  }
};

inline void PrintTo(const LoggedEvent& event, std::ostream* out) { *out << event.Text(); }

/// Reads the text of a dump back. A text of another form throws: the dump's form is part of every
/// test that reads it.
class LogReader {
 public:
  explicit LogReader(std::string_view dump) : rest(dump) {
    header = Line();
    if (Line() != "%%") {
      throw std::runtime_error("the dump's header does not end with %%");
    }
    while (!rest.empty()) {
      const std::string_view names = Line();
      events.push_back(Event(names, Line()));
    }
  }

  [[nodiscard]] static std::vector<LoggedEvent> Events(std::string_view dump) {
    return std::move(LogReader(dump).events);
  }

  std::string header;
  std::vector<LoggedEvent> events;

 private:
  static std::string_view CutAt(std::string_view& text, std::string_view mark) {
    const std::size_t end = text.find(mark);
    if (end == std::string_view::npos) {
      throw std::runtime_error("no \"" + std::string(mark) + "\" in \"" + std::string(text) + "\"");
    }
    const std::string_view head = text.substr(0, end);
    text.remove_prefix(end + mark.size());
    return head;
  }

  template <typename Number>
  static Number Parsed(std::string_view text, int base = 10) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size()) {
      throw std::runtime_error("not a number: \"" + std::string(text) + "\"");
    }
    return number;
  }

  std::string_view Line() { return CutAt(rest, "\n"); }

  static LoggedEvent Event(std::string_view names, std::string_view numbers) {
    LoggedEvent event;
    CutAt(names, "% ");
    std::string_view what = CutAt(names, " in_class ");
    const std::size_t space = what.find(' ');
    event.event = what.substr(0, space);
    if (space != std::string_view::npos) {
      event.subject = what.substr(space + 1);
    }
    event.className = CutAt(names, " at");
    const bool numbered = names.starts_with("_point ");
    CutAt(names, " ");
    event.pointName = (numbered ? "point " : "") + std::string(CutAt(names, " for_object "));
    event.object = Parsed<std::uint64_t>(CutAt(names, " ("), 16);
    const std::size_t thread = names.find(") in_thread ");
    if (thread != std::string_view::npos) {
      event.objectName = CutAt(names, ") in_thread ");
      CutAt(names, " (");
      event.threadName = names.substr(0, names.size() - 1);
    } else {
      event.objectName = names.substr(0, names.size() - 1);
    }
    CutAt(numbers, "    ");
    event.time = CutAt(numbers, ", ");
    for (std::int32_t* const field :
         {&event.code, &event.value1, &event.value2, &event.classKey, &event.pointKey}) {
      *field = Parsed<std::int32_t>(CutAt(numbers, ", "));
    }
    if (Parsed<std::int64_t>(CutAt(numbers, ", ")) != static_cast<std::int64_t>(event.object)) {
      throw std::runtime_error("the two lines disagree about the object");
    }
    event.threadId = static_cast<std::uint32_t>(Parsed<std::int32_t>(numbers));
    return event;
  }

  std::string_view rest;
};

/// Empties the process's log and returns what was in it, oldest first.
inline std::vector<LoggedEvent> TakeLog() {
  std::ostringstream text;
  MFlowLogger::Instance()->Dump(text);
  return LogReader::Events(text.str());
}

/// What all threads log to the process's log while `action` runs.
template <typename Action>
std::vector<LoggedEvent> LogDuring(Action&& action) {
  TakeLog();
  std::forward<Action>(action)();
  return TakeLog();
}

/// Those of the events that concern one object.
inline std::vector<LoggedEvent> Concerning(const void* object, std::vector<LoggedEvent> events) {
  std::erase_if(events, [object](const LoggedEvent& event) { return !event.Concerns(object); });
  return events;
}

/// Matches events by their texts, all of them in this order:
/// `EXPECT_THAT(LogDuring(...), Logged({"Construction MJob.MJob", "Scope_push MJob.Run"}))`.
inline testing::Matcher<const std::vector<LoggedEvent>&> Logged(
    const std::vector<std::string>& texts) {
  std::vector<testing::Matcher<const LoggedEvent&>> matchers;
  for (const std::string& text : texts) {
    matchers.push_back(testing::Property("Text", &LoggedEvent::Text, text));
  }
  return testing::ElementsAreArray(matchers);
}

MATCHER_P(ContainsTextsInOrder, texts, "contains in this order: " + testing::PrintToString(texts)) {
  std::size_t next = 0;
  for (const LoggedEvent& event : arg) {
    if (next < texts.size() && event.Text() == texts[next]) {
      ++next;
    }
  }
  if (next == texts.size()) {
    return true;
  }
  *result_listener << "where \"" << texts[next] << "\" is missing";
  return false;
}

/// Matches events among which these come in this order, with any others in between.
inline testing::Matcher<const std::vector<LoggedEvent>&> LoggedInOrder(
    const std::vector<std::string>& texts) {
  return ContainsTextsInOrder(texts);
}
