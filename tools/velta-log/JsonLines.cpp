// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "EventCode.h"
#include "JsonWriter.h"
#include "Text.h"
#include "WallClock.h"

namespace veltalog {
namespace {

/// As log viewers rank lines.
std::string_view Level(std::int32_t code) {
  if (IsError(code)) {
    return "error";
  }
  if (NamesAnError(code)) {
    return "warning";
  }
  return code == kScopePush || code == kScopePop || code == kTimingPoint ? "debug" : "info";
}

/// The key under which the event's subject stands; empty when it has none.
std::string_view SubjectKey(std::int32_t code) {
  if (code == kDismissedError) {
    return {};  // the log is never told which one
  }
  if (NamesAnError(code)) {
    return "error";
  }
  if (code == kStateChange) {
    return "state";
  }
  return code == kMessageSend ? "message" : std::string_view();
}

void WriteRecord(JsonWriter& json, const Log& log, const Record& record) {
  json.BeginObject();
  // A viewer wants a date for its time axis, also where the dump could not tell one.
  json.Member("wall", FormatWallClock(log.wallClock.value_or(0) + record.time))
      .Member("timeUs", record.time)
      .Member("level", Level(record.code))
      .Member("event", EventName(record.code))
      .Member("class", log.ClassName(record.operation))
      .Member("operation", log.OperationName(record.operation));
  if (const std::string_view key = SubjectKey(record.code); !key.empty()) {
    json.Member(key, log.Name(record.subject));
  }
  json.Member("code", record.code)
      .Member("value1", record.value1)
      .Member("value2", record.value2)
      .Key("object");
  json.Address(record.object);
  if (const std::string_view name = log.Name(record.objectName); name != kUnknown) {
    json.Member("objectName", name);
  }
  json.Member("thread", log.threads[record.thread].id)
      .Member("threadName", log.ThreadName(record.thread))
      .EndObject();
  json.EndLine();
}

}  // namespace

void WriteJsonLines(const Log& log, Output& output) {
  JsonWriter json(output);
  for (const Record& record : log.records) {
    WriteRecord(json, log, record);
  }
}

}  // namespace veltalog
