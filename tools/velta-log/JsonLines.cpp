// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "ErrorHistory.h"
#include "Events.h"
#include "JsonWriter.h"
#include "Text.h"
#include "WallClock.h"

#include <cstdint>

namespace Velta::Logging {
namespace {

void WriteRecord(JsonWriter& json, const Log& log, const Record& record,
                 const RaisedError* raised) {
  json.BeginObject();
  // A viewer needs a date for its time axis, even if the dump has none.
  json.Member("wall", FormatWallClock(log.wallClock.value_or(0) + record.time))
      .Member("timeUs", record.time)
      .Member("level", Level(record.code))
      .Member("event", EventName(record.code))
      .Member("class", log.ClassName(record.operation))
      .Member("operation", log.OperationName(record.operation));
  if (const std::string_view key = SubjectKey(record.code); !key.empty()) {
    json.Member(key, log.Name(record.subject));
  }
  if (raised != nullptr) {
    WriteParameters(*raised, json);
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

void WriteJsonLines(const Log& log, const RaisedErrors& raised, Output& output) {
  JsonWriter json(output);
  for (std::uint32_t i = 0; i < log.records.size(); ++i) {
    WriteRecord(json, log, log.records[i], raised.Of(i));
  }
}

}  // namespace Velta::Logging
