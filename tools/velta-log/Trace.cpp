// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "EventCode.h"
#include "Histories.h"
#include "JsonWriter.h"
#include "Scopes.h"
#include "Text.h"
#include "WallClock.h"

namespace veltalog {
namespace {

constexpr int kProcess = 1;

class TraceWriter {
 public:
  TraceWriter(const Log& source, Output& target)
      : log(source), scopes(FindScopes(source)), json(target) {}

  void Write() {
    json.BeginObject().Member("displayTimeUnit", "ms");
    if (log.wallClock) {
      json.Key("otherData").BeginObject();
      json.Member("wall", FormatWallClock(*log.wallClock + log.Begin())).EndObject();
    }
    json.Key("traceEvents").BeginArray();
    const auto records = log.RecordsByThread();
    for (std::uint32_t thread = 0; thread < log.threads.size(); ++thread) {
      NameThread(thread);
      WriteThread(thread, records[thread]);
    }
    WriteStates();
    json.EndArray().EndObject();
    json.EndLine();
  }

 private:
  /// Opens an event; the caller adds what it is about and closes it.
  void Begin(std::string_view phase, std::string_view category, std::string_view name, Micros time,
             std::uint32_t thread) {
    json.BeginObject()
        .Member("ph", phase)
        .Member("cat", category)
        .Member("name", name)
        .Member("ts", time)
        .Member("pid", kProcess)
        .Member("tid", log.threads[thread].id);
  }

  void NameThread(std::uint32_t thread) {
    json.BeginObject()
        .Member("ph", "M")
        .Member("name", "thread_name")
        .Member("pid", kProcess)
        .Member("tid", log.threads[thread].id)
        .Key("args")
        .BeginObject()
        .Member("name", log.ThreadName(thread))
        .EndObject()
        .EndObject();
  }

  /// Scopes of one thread begin and end here in the order in which a stack would see them, so that
  /// the events are balanced whatever the ring has cut.
  void WriteThread(std::uint32_t thread, const std::vector<std::uint32_t>& records) {
    std::uint32_t next = scopes.firstOfThread[thread];
    const std::uint32_t end = scopes.firstOfThread[thread + 1];
    std::vector<std::uint32_t> open;
    const auto close = [&] {
      const Scope& scope = scopes.all[open.back()];
      Begin("E", "scope", ScopeName(scope), scope.end, thread);
      json.EndObject();
      open.pop_back();
    };
    for (const std::uint32_t record : records) {
      for (; next < end && (scopes.all[next].entry == kNone || scopes.all[next].entry == record);
           ++next) {
        BeginScope(scopes.all[next], thread);
        open.push_back(next);
      }
      const std::int32_t code = log.records[record].code;
      if (code != kScopePush && code != kScopePop) {
        WriteInstant(log.records[record]);
      }
      while (!open.empty() && scopes.all[open.back()].lastRecord == record) {
        close();
      }
    }
    while (!open.empty()) {
      close();
    }
  }

  [[nodiscard]] std::string ScopeName(const Scope& scope) const {
    return log.FullName(log.records[scope.Teller()].operation);
  }

  void BeginScope(const Scope& scope, std::uint32_t thread) {
    const Record& teller = log.records[scope.Teller()];
    Begin("B", "scope", ScopeName(scope), scope.begin, thread);
    json.Key("args").BeginObject();
    WriteObject(teller);
    json.Member("value1", teller.value1).Member("value2", teller.value2);
    if (!scope.IsWhole()) {
      json.Member("cut", scope.entry == kNone ? "entered before the log" : "never closed");
    }
    json.EndObject().EndObject();
  }

  void WriteInstant(const Record& record) {
    const bool named = NamesAnError(record.code) && record.code != kDismissedError;
    Begin("i", Category(record.code),
          named ? log.ErrorCode(record)
                : std::string(EventName(record.code)) + ' ' + log.FullName(record.operation),
          record.time, record.thread);
    json.Member("s", "t").Key("args").BeginObject().Member("event", EventName(record.code));
    WriteObject(record);
    if (!log.Name(record.subject).empty()) {
      json.Member("subject", log.Name(record.subject));
    }
    json.Member("value1", record.value1).Member("value2", record.value2);
    json.EndObject().EndObject();
  }

  static std::string_view Category(std::int32_t code) {
    if (NamesAnError(code)) {
      return "error";
    }
    if (code == kTimingPoint) {
      return "timing";
    }
    if (code == kStateChange) {
      return "state";
    }
    return code == kConstruction || code == kDestruction ? "life" : "event";
  }

  void WriteObject(const Record& record) {
    json.Key("object").Address(record.object);
    if (const std::string_view name = log.Name(record.objectName); name != kUnknown) {
      json.Member("objectName", name);
    }
  }

  /// States outlive calls and belong to no thread: one track for each object.
  void WriteStates() {
    const std::vector<StateHistory> histories = FindStateHistories(log);
    for (std::size_t i = 0; i < histories.size(); ++i) {
      const StateHistory& history = histories[i];
      for (const StateSpan& span : history.spans) {
        const std::uint32_t thread = log.records[span.record].thread;
        for (const auto& [phase, time] : {std::pair("b", span.begin), std::pair("e", span.end)}) {
          Begin(phase, log.Name(history.className), log.Name(span.state), time, thread);
          json.Member("id", i + 1).Key("args").BeginObject();
          WriteObject(log.records[span.record]);
          json.EndObject().EndObject();
        }
      }
    }
  }

  const Log& log;
  Scopes scopes;
  JsonWriter json;
};

}  // namespace

void WriteTrace(const Log& log, Output& output) { TraceWriter(log, output).Write(); }

}  // namespace veltalog
