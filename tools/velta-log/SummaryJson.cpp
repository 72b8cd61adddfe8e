// SPDX-License-Identifier: MIT
#include "Events.h"
#include "JsonWriter.h"
#include "Summary.h"
#include "WallClock.h"

#include <cstddef>
#include <cstdint>

namespace Velta::Logging {
namespace {

void WriteActivity(JsonWriter& json, const Activity& activity) {
  json.Member("records", activity.records)
      .Member("scopes", activity.scopes)
      .Member("totalUs", activity.total)
      .Member("selfUs", activity.self)
      .Member("constructions", activity.constructions)
      .Member("destructions", activity.destructions)
      .Member("errors", activity.errors);
}

void WriteThreadsJson(JsonWriter& json, const Log& log, const Summary& summary) {
  json.Key("threads").BeginArray();
  for (std::size_t i = 0; i < log.threads.size(); ++i) {
    const ThreadActivity& thread = summary.threads[i];
    json.BeginObject()
        .Member("id", log.threads[i].id)
        .Member("name", log.Name(log.threads[i].name))
        .Member("records", thread.records)
        .Member("scopes", thread.scopes)
        .Member("inScopesUs", thread.inScopes)
        .Member("errors", thread.errors)
        .Member("beginUs", thread.begin)
        .Member("endUs", thread.end)
        .EndObject();
  }
  json.EndArray();
}

void WriteOperationsJson(JsonWriter& json, const Log& log, const Summary& summary) {
  json.Key("classes").BeginArray();
  for (const auto& [name, activity] : summary.classes) {
    json.BeginObject().Member("class", log.Name(name));
    WriteActivity(json, activity);
    json.EndObject();
  }
  json.EndArray();
  json.Key("operations").BeginArray();
  for (std::uint32_t i = 0; i < log.operations.size(); ++i) {
    json.BeginObject().Member("class", log.ClassName(i)).Member("operation", log.OperationName(i));
    WriteActivity(json, summary.operations[i]);
    if (const Percentiles& percentiles = summary.percentiles[i]; percentiles.count > 0) {
      json.Key("durationUs")
          .BeginObject()
          .Member("count", percentiles.count)
          .Member("p50", percentiles.median)
          .Member("p90", percentiles.p90)
          .Member("p99", percentiles.p99)
          .Member("max", percentiles.longest)
          .EndObject();
    }
    json.EndObject();
  }
  json.EndArray();
}

void WriteFailuresJson(JsonWriter& json, const Log& log, const Summary& summary) {
  json.Key("errors").BeginArray();
  for (const auto& [key, error] : summary.errors) {
    const Record& first = log.records[error.firstRecord];
    json.BeginObject()
        .Member("event", EventName(key.first))
        .Member("class", log.ClassName(first.operation))
        .Member("operation", log.OperationName(first.operation));
    if (key.first != kDismissedError) {
      json.Member("error", log.Name(first.subject));
    }
    json.Member("count", error.count).Member("firstUs", first.time).EndObject();
  }
  json.EndArray();
}

void WriteStatesJson(JsonWriter& json, const Log& log, const Summary& summary) {
  json.Key("states").BeginArray();
  for (const StateHistory& history : summary.histories) {
    json.BeginObject().Member("class", log.Name(history.className)).Key("object");
    json.Address(history.object).Member("name", log.Name(history.objectName)).Key("history");
    json.BeginArray();
    for (const StateSpan& span : history.spans) {
      json.BeginObject()
          .Member("state", log.Name(span.state))
          .Member("beginUs", span.begin)
          .Member("endUs", span.end)
          .EndObject();
    }
    json.EndArray().Key("destroyed").Bool(history.destroyed).EndObject();
  }
  json.EndArray();
}

void WriteOpenScopesJson(JsonWriter& json, const Log& log, const Scopes& scopes,
                         const Summary& summary) {
  json.Key("neverClosed").BeginArray();
  for (const std::uint32_t i : summary.neverClosed) {
    const Record& entry = log.records[scopes.all[i].entry];
    json.BeginObject()
        .Member("class", log.ClassName(entry.operation))
        .Member("operation", log.OperationName(entry.operation))
        .Member("thread", log.threads[entry.thread].id)
        .Key("object");
    json.Address(entry.object)
        .Member("beginUs", entry.time)
        .Member("durationUs", scopes.all[i].Duration())
        .EndObject();
  }
  json.EndArray();
}

}  // namespace

void WriteSummaryJson(const Log& log, const Scopes& scopes, const Summary& summary,
                      JsonWriter& json) {
  json.BeginObject()
      .Member("records", log.records.size())
      .Member("beginUs", log.Begin())
      .Member("endUs", log.End());
  if (log.wallClock) {
    json.Member("wall", FormatWallClock(*log.wallClock + log.Begin()));
  }
  json.Key("events").BeginObject();
  for (const auto& [name, count] : summary.events) {
    json.Member(name, count);
  }
  json.EndObject();
  WriteThreadsJson(json, log, summary);
  WriteOperationsJson(json, log, summary);
  WriteFailuresJson(json, log, summary);
  WriteStatesJson(json, log, summary);
  WriteOpenScopesJson(json, log, scopes, summary);
  json.Member("neverOpened", summary.neverOpened).Member("strayExits", summary.strayExits);
  json.EndObject();
}

}  // namespace Velta::Logging
