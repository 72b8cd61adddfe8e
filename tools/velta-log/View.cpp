// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "EventCode.h"
#include "Files.h"
#include "Histories.h"
#include "JsonWriter.h"
#include "Scopes.h"
#include "Summary.h"
#include "ViewPage.h"

#include <string>
#include <unordered_map>

namespace veltalog {
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
  ViewData(const Log& source, Output& target)
      : log(source), scopes(FindScopes(source)), json(target) {}

  void Write() {
    json.BeginObject().Key("summary");
    WriteSummaryJson(log, scopes, Summarise(log, scopes), json);
    json.Key("threads").BeginArray();
    const auto records = log.RecordsByThread();
    for (std::uint32_t thread = 0; thread < log.threads.size(); ++thread) {
      json.BeginObject().Member("label", log.ThreadLabel(thread)).Key("scopes");
      WriteScopes(scopes.firstOfThread[thread], scopes.firstOfThread[thread + 1]);
      json.Key("marks");
      WriteMarks(records[thread], scopes.firstOfThread[thread]);
      json.EndObject();
    }
    json.EndArray();
    WriteObjects();
    json.Key("subjects").BeginArray();
    for (const NameId subject : subjects) {
      json.String(log.Name(subject));
    }
    json.EndArray();
    WriteErrorPlaces();
    json.EndObject();
  }

 private:
  /// A column: what `read` gives for each number in the half-open range.
  template <typename Read>
  void Column(std::string_view name, std::uint32_t first, std::uint32_t last, Read read) {
    json.Key(name).BeginArray();
    for (std::uint32_t i = first; i < last; ++i) {
      json.Number(read(i));
    }
    json.EndArray();
  }

  void WriteScopes(std::uint32_t first, std::uint32_t last) {
    const auto teller = [&](std::uint32_t i) -> const Record& {
      return log.records[scopes.all[i].Teller()];
    };
    Micros before = 0;
    json.BeginObject();
    Column("begin", first, last,
           [&](std::uint32_t i) { return Difference(before, scopes.all[i].begin); });
    Column("duration", first, last, [&](std::uint32_t i) { return scopes.all[i].Duration(); });
    Column("depth", first, last, [&](std::uint32_t i) { return scopes.all[i].depth; });
    Column("operation", first, last, [&](std::uint32_t i) { return teller(i).operation; });
    Column("object", first, last, [&](std::uint32_t i) { return ObjectNumber(teller(i)); });
    Column("value1", first, last, [&](std::uint32_t i) { return teller(i).value1; });
    Column("value2", first, last, [&](std::uint32_t i) { return teller(i).value2; });
    Column("cut", first, last, [&](std::uint32_t i) {
      return (scopes.all[i].entry == kNone ? 1 : 0) + (scopes.all[i].exit == kNone ? 2 : 0);
    });
    json.EndObject();
  }

  /// What is no scope: everything that takes no time.
  void WriteMarks(const std::vector<std::uint32_t>& records, std::uint32_t firstScope) {
    std::vector<const Record*> marks;
    std::vector<std::int64_t> around;  // the thread's scope in which a mark is, or -1
    for (const std::uint32_t record : records) {
      const std::int32_t code = log.records[record].code;
      if (code == kScopePush || code == kScopePop) {
        continue;
      }
      if (NamesAnError(code)) {
        markOfRecord.emplace(record, marks.size());
      }
      marks.push_back(&log.records[record]);
      const std::uint32_t scope = scopes.around[record];
      around.push_back(scope == kNone ? -1 : std::int64_t{scope} - firstScope);
    }
    const auto count = static_cast<std::uint32_t>(marks.size());
    Micros before = 0;
    json.BeginObject();
    Column("time", 0, count, [&](std::uint32_t i) { return Difference(before, marks[i]->time); });
    Column("code", 0, count, [&](std::uint32_t i) { return marks[i]->code; });
    Column("operation", 0, count, [&](std::uint32_t i) { return marks[i]->operation; });
    Column("object", 0, count, [&](std::uint32_t i) { return ObjectNumber(*marks[i]); });
    Column("subject", 0, count,
           [&](std::uint32_t i) { return Number(subjectNumbers, subjects, marks[i]->subject); });
    Column("value1", 0, count, [&](std::uint32_t i) { return marks[i]->value1; });
    Column("value2", 0, count, [&](std::uint32_t i) { return marks[i]->value2; });
    Column("scope", 0, count, [&](std::uint32_t i) { return around[i]; });
    json.EndObject();
  }

  void WriteObjects() {
    json.Key("objects").BeginArray();
    for (const std::uint64_t object : objects) {
      json.Address(object);
    }
    json.EndArray();
    json.Key("objectNames").BeginObject();
    for (std::size_t i = 0; i < objects.size(); ++i) {
      const std::string_view name = log.Name(objectNames[i]);
      if (name != kUnknown) {
        json.Member(std::to_string(i), name);
      }
    }
    json.EndObject();
  }

  /// Each error's thread, its mark there, and the mark of what it came after, or -1.
  void WriteErrorPlaces() {
    json.Key("errors").BeginArray();
    for (const ErrorEvent& error : FindErrors(log)) {
      json.BeginArray()
          .Number(log.records[error.record].thread)
          .Number(markOfRecord.at(error.record));
      if (error.cause == kNone) {
        json.Number(-1);
      } else {
        json.Number(markOfRecord.at(error.cause));
      }
      json.EndArray();
    }
    json.EndArray();
  }

  static Micros Difference(Micros& before, Micros now) {
    const Micros difference = now - before;
    before = now;
    return difference;
  }

  std::uint32_t ObjectNumber(const Record& record) {
    const std::uint32_t number = Number(objectNumbers, objects, record.object);
    if (number == objectNames.size()) {
      objectNames.push_back(record.objectName);
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

  const Log& log;
  Scopes scopes;
  JsonWriter json;
  std::unordered_map<std::uint64_t, std::uint32_t> objectNumbers;
  std::vector<std::uint64_t> objects;
  std::vector<NameId> objectNames;
  std::unordered_map<NameId, std::uint32_t> subjectNumbers;
  std::vector<NameId> subjects;
  std::unordered_map<std::uint32_t, std::size_t> markOfRecord;
};

}  // namespace

void WriteView(const Log& log, std::string_view title, Output& output) {
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
  ViewData(log, output).Write();
  output.Write(page);
}

}  // namespace veltalog
