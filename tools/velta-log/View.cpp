// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "ErrorHistory.h"
#include "Events.h"
#include "Files.h"
#include "Histories.h"
#include "JsonWriter.h"
#include "Scopes.h"
#include "Summary.h"
#include "ViewPage.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Velta::Logging {
namespace {

std::string EscapeHtml(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    if (character == '&') {
      escaped += "&amp;";
    } else if (character == '<') {
      escaped += "&lt;";
    } else {
      escaped += character;
    }
  }
  return escaped;
}

/// Writes the log as the page reads it: in columns, times as differences, objects and names by
/// number. That is a tenth of the dump and needs no work before the first paint.
class ViewData {
 public:
  ViewData(const Log& log, const RaisedErrors& raised, Output& output)
      : log_(log), raised_(raised), scopes_(FindScopes(log)), json_(output) {}

  void Write() {
    json_.BeginObject();
    WriteEvents();
    json_.Key("summary");
    WriteSummaryJson(log_, scopes_, Summarise(log_, scopes_), json_);
    json_.Key("threads").BeginArray();
    const auto records = log_.RecordsByThread();
    for (std::uint32_t thread = 0; thread < log_.threads.size(); ++thread) {
      json_.BeginObject().Member("label", log_.ThreadLabel(thread)).Key("scopes");
      WriteScopes(scopes_.firstOfThread[thread], scopes_.firstOfThread[thread + 1]);
      json_.Key("marks");
      WriteMarks(records[thread], scopes_.firstOfThread[thread]);
      json_.EndObject();
    }
    json_.EndArray();
    WriteObjects();
    json_.Key("subjects").BeginArray();
    for (const NameId subject : subjects_) {
      json_.String(log_.Name(subject));
    }
    json_.EndArray();
    WriteErrorPlaces();
    json_.EndObject();
  }

 private:
  /// A column: what `read` gives for each number in the half-open range.
  template <typename Read>
  void Column(std::string_view name, std::uint32_t first, std::uint32_t last, Read read) {
    json_.Key(name).BeginArray();
    for (std::uint32_t i = first; i < last; ++i) {
      json_.Number(read(i));
    }
    json_.EndArray();
  }

  /// The page knows the events from here only.
  void WriteEvents() {
    json_.Key("events").BeginArray();
    for (const Event& event : kEvents) {
      json_.BeginObject()
          .Member("code", std::int32_t{event.code})
          .Member("name", event.name)
          .Member("level", Level(event.code))
          .Member("subject", SubjectKey(event.code))
          .EndObject();
    }
    json_.EndArray();
  }

  void WriteScopes(std::uint32_t first, std::uint32_t last) {
    const auto recordOf = [&](std::uint32_t i) -> const Record& {
      return log_.records[scopes_.all[i].IdentifyingRecord()];
    };
    Micros before = 0;
    json_.BeginObject();
    Column("begin", first, last,
           [&](std::uint32_t i) { return Difference(before, scopes_.all[i].begin); });
    Column("duration", first, last, [&](std::uint32_t i) { return scopes_.all[i].Duration(); });
    Column("depth", first, last, [&](std::uint32_t i) { return scopes_.all[i].depth; });
    Column("operation", first, last, [&](std::uint32_t i) { return recordOf(i).operation; });
    Column("object", first, last, [&](std::uint32_t i) { return ObjectNumber(recordOf(i)); });
    Column("value1", first, last, [&](std::uint32_t i) { return recordOf(i).value1; });
    Column("value2", first, last, [&](std::uint32_t i) { return recordOf(i).value2; });
    Column("cut", first, last, [&](std::uint32_t i) {
      return (scopes_.all[i].entry == kNone ? 1 : 0) + (scopes_.all[i].exit == kNone ? 2 : 0);
    });
    json_.EndObject();
  }

  /// Everything but scopes: what takes no time.
  void WriteMarks(const std::vector<std::uint32_t>& records, std::uint32_t firstScope) {
    std::vector<const Record*> marks;
    std::vector<std::int64_t> around;  // the thread's scope in which a mark is, or -1
    for (const std::uint32_t record : records) {
      const std::int32_t code = log_.records[record].code;
      if (code == kScopePush || code == kScopePop) {
        continue;
      }
      if (NamesAnError(code)) {
        markOfRecord_.emplace(record, marks.size());
      }
      marks.push_back(&log_.records[record]);
      const std::uint32_t scope = scopes_.around[record];
      around.push_back(scope == kNone ? -1 : std::int64_t{scope} - firstScope);
    }
    const auto count = static_cast<std::uint32_t>(marks.size());
    Micros before = 0;
    json_.BeginObject();
    Column("time", 0, count, [&](std::uint32_t i) { return Difference(before, marks[i]->time); });
    Column("code", 0, count, [&](std::uint32_t i) { return marks[i]->code; });
    Column("operation", 0, count, [&](std::uint32_t i) { return marks[i]->operation; });
    Column("object", 0, count, [&](std::uint32_t i) { return ObjectNumber(*marks[i]); });
    Column("subject", 0, count,
           [&](std::uint32_t i) { return Number(subjectNumbers_, subjects_, marks[i]->subject); });
    Column("value1", 0, count, [&](std::uint32_t i) { return marks[i]->value1; });
    Column("value2", 0, count, [&](std::uint32_t i) { return marks[i]->value2; });
    Column("scope", 0, count, [&](std::uint32_t i) { return around[i]; });
    json_.EndObject();
  }

  void WriteObjects() {
    json_.Key("objects").BeginArray();
    for (const std::uint64_t object : objects_) {
      json_.Address(object);
    }
    json_.EndArray();
    json_.Key("objectNames").BeginObject();
    for (std::size_t i = 0; i < objects_.size(); ++i) {
      const std::string_view name = log_.Name(objectNames_[i]);
      if (name != kUnknown) {
        json_.Member(std::to_string(i), name);
      }
    }
    json_.EndObject();
  }

  /// Each error's thread, its mark there, the mark of what it came after, or -1, and its
  /// parameters where they are known.
  void WriteErrorPlaces() {
    json_.Key("errors").BeginArray();
    for (const ErrorEvent& error : FindErrors(log_)) {
      json_.BeginArray()
          .Number(log_.records[error.record].thread)
          .Number(markOfRecord_.at(error.record));
      if (error.cause == kNone) {
        json_.Number(-1);
      } else {
        json_.Number(markOfRecord_.at(error.cause));
      }
      if (const RaisedError* const raised = raised_.Of(error.record)) {
        json_.BeginArray();
        for (const ErrorParameter& parameter : raised->parameters) {
          json_.String(parameter.name.Shown()).String(parameter.value.Shown());
        }
        json_.EndArray();
      }
      json_.EndArray();
    }
    json_.EndArray();
  }

  static Micros Difference(Micros& before, Micros now) {
    const Micros difference = now - before;
    before = now;
    return difference;
  }

  std::uint32_t ObjectNumber(const Record& record) {
    const std::uint32_t number = Number(objectNumbers_, objects_, record.object);
    if (number == objectNames_.size()) {
      objectNames_.push_back(record.objectName);
    }
    return number;
  }

  /// The place of `value` in `list`, to which a new one is added.
  template <typename Value>
  static std::uint32_t Number(std::unordered_map<Value, std::uint32_t>& numbers,
                              std::vector<Value>& list, Value value) {
    const auto [found, isNew] = numbers.try_emplace(value, static_cast<std::uint32_t>(list.size()));
    if (isNew) {
      list.push_back(value);
    }
    return found->second;
  }

  const Log& log_;
  const RaisedErrors& raised_;
  Scopes scopes_;
  JsonWriter json_;
  std::unordered_map<std::uint64_t, std::uint32_t> objectNumbers_;
  std::vector<std::uint64_t> objects_;
  std::vector<NameId> objectNames_;
  std::unordered_map<NameId, std::uint32_t> subjectNumbers_;
  std::vector<NameId> subjects_;
  std::unordered_map<std::uint32_t, std::size_t> markOfRecord_;
};

}  // namespace

void WriteView(const Log& log, const RaisedErrors& raised, std::string_view title, Output& output) {
  std::string_view page = ViewPage();
  const auto writeUntil = [&](std::string_view marker) {
    const std::size_t place = page.find(marker);
    output.Write(page.substr(0, place));
    page.remove_prefix(place + marker.size());
  };
  const std::string shownTitle = EscapeHtml(title);
  writeUntil("@TITLE@");
  output.Write(shownTitle);
  writeUntil("@TITLE@");
  output.Write(shownTitle);
  writeUntil("@DATA@");
  ViewData(log, raised, output).Write();
  output.Write(page);
}

}  // namespace Velta::Logging
