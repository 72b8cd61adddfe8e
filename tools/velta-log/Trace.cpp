// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "Events.h"
#include "Histories.h"
#include "JsonWriter.h"
#include "Scopes.h"
#include "Text.h"
#include "WallClock.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Velta::Logging {
namespace {

constexpr int kProcess = 1;

class TraceWriter {
 public:
  TraceWriter(const Log& log, Output& output)
      : log_(log), scopes_(FindScopes(log)), json_(output) {}

  void Write() {
    json_.BeginObject().Member("displayTimeUnit", "ms");
    if (log_.wallClock) {
      json_.Key("otherData").BeginObject();
      json_.Member("wall", FormatWallClock(*log_.wallClock + log_.Begin())).EndObject();
    }
    json_.Key("traceEvents").BeginArray();
    const auto records = log_.RecordsByThread();
    for (std::uint32_t thread = 0; thread < log_.threads.size(); ++thread) {
      NameThread(thread);
      WriteThread(thread, records[thread]);
    }
    WriteStates();
    json_.EndArray().EndObject();
    json_.EndLine();
  }

 private:
  /// Opens an event; the caller adds what it is about and closes it.
  void Begin(std::string_view phase, std::string_view category, std::string_view name, Micros time,
             std::uint32_t thread) {
    json_.BeginObject()
        .Member("ph", phase)
        .Member("cat", category)
        .Member("name", name)
        .Member("ts", time)
        .Member("pid", kProcess)
        .Member("tid", log_.threads[thread].id);
  }

  void NameThread(std::uint32_t thread) {
    json_.BeginObject()
        .Member("ph", "M")
        .Member("name", "thread_name")
        .Member("pid", kProcess)
        .Member("tid", log_.threads[thread].id)
        .Key("args")
        .BeginObject()
        .Member("name", log_.ThreadName(thread))
        .EndObject()
        .EndObject();
  }

  /// Scopes of one thread begin and end in stack order, so the events are balanced whatever the
  /// ring has overwritten.
  void WriteThread(std::uint32_t thread, const std::vector<std::uint32_t>& records) {
    std::uint32_t next = scopes_.firstOfThread[thread];
    const std::uint32_t end = scopes_.firstOfThread[thread + 1];
    std::vector<std::uint32_t> open;
    const auto close = [&] {
      const Scope& scope = scopes_.all[open.back()];
      Begin("E", "scope", ScopeName(scope), scope.end, thread);
      json_.EndObject();
      open.pop_back();
    };
    for (const std::uint32_t record : records) {
      for (; next < end && (scopes_.all[next].entry == kNone || scopes_.all[next].entry == record);
           ++next) {
        BeginScope(scopes_.all[next], thread);
        open.push_back(next);
      }
      const std::int32_t code = log_.records[record].code;
      if (code != kScopePush && code != kScopePop) {
        WriteInstant(log_.records[record]);
      }
      while (!open.empty() && scopes_.all[open.back()].lastRecord == record) {
        close();
      }
    }
    while (!open.empty()) {
      close();
    }
  }

  [[nodiscard]] std::string ScopeName(const Scope& scope) const {
    return log_.FullName(log_.records[scope.IdentifyingRecord()].operation);
  }

  void BeginScope(const Scope& scope, std::uint32_t thread) {
    const Record& record = log_.records[scope.IdentifyingRecord()];
    Begin("B", "scope", ScopeName(scope), scope.begin, thread);
    json_.Key("args").BeginObject();
    WriteObject(record);
    json_.Member("value1", record.value1).Member("value2", record.value2);
    if (!scope.IsWhole()) {
      json_.Member("cut", scope.entry == kNone ? "entered before the log" : "never closed");
    }
    json_.EndObject().EndObject();
  }

  void WriteInstant(const Record& record) {
    const bool named = NamesAnError(record.code) && record.code != kDismissedError;
    Begin("i", Category(record.code),
          named ? log_.ErrorCode(record)
                : std::string(EventName(record.code)) + ' ' + log_.FullName(record.operation),
          record.time, record.thread);
    json_.Member("s", "t").Key("args").BeginObject().Member("event", EventName(record.code));
    WriteObject(record);
    if (!log_.Name(record.subject).empty()) {
      json_.Member("subject", log_.Name(record.subject));
    }
    json_.Member("value1", record.value1).Member("value2", record.value2);
    json_.EndObject().EndObject();
  }

  static std::string_view Category(std::int32_t code) {
    switch (EventOf(code).subject) {
      case Subject::kError:
        return "error";
      case Subject::kState:
        return "state";
      case Subject::kValues:
        return "timing";
      case Subject::kMessage:
      case Subject::kNothing:
        break;
    }
    return code == kConstruction || code == kDestruction ? "life" : "event";
  }

  void WriteObject(const Record& record) {
    json_.Key("object").Address(record.object);
    if (const std::string_view name = log_.Name(record.objectName); name != kUnknown) {
      json_.Member("objectName", name);
    }
  }

  /// States outlive calls and belong to no thread: one track for each object.
  void WriteStates() {
    const std::vector<StateHistory> histories = FindStateHistories(log_);
    for (std::size_t i = 0; i < histories.size(); ++i) {
      const StateHistory& history = histories[i];
      for (const StateSpan& span : history.spans) {
        const std::uint32_t thread = log_.records[span.record].thread;
        for (const auto& [phase, time] : {std::pair("b", span.begin), std::pair("e", span.end)}) {
          Begin(phase, log_.Name(history.className), log_.Name(span.state), time, thread);
          json_.Member("id", i + 1).Key("args").BeginObject();
          WriteObject(log_.records[span.record]);
          json_.EndObject().EndObject();
        }
      }
    }
  }

  const Log& log_;
  Scopes scopes_;
  JsonWriter json_;
};

}  // namespace

void WriteTrace(const Log& log, Output& output) { TraceWriter(log, output).Write(); }

}  // namespace Velta::Logging
