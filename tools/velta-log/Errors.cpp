// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "EventCode.h"
#include "Files.h"
#include "Histories.h"
#include "JsonWriter.h"
#include "Scopes.h"
#include "Text.h"

#include <algorithm>

namespace veltalog {
namespace {

/// The scopes around a record, outermost first.
std::vector<std::string> PathTo(const Log& log, const Scopes& scopes, std::uint32_t record) {
  std::vector<std::string> path;
  for (std::uint32_t scope = scopes.around[record]; scope != kNone;
       scope = scopes.all[scope].parent) {
    path.push_back(log.FullName(log.records[scopes.all[scope].Teller()].operation));
  }
  std::ranges::reverse(path);
  return path;
}

void WriteText(const Log& log, const Scopes& scopes, const ErrorEvent& error, Output& output) {
  const Record& record = log.records[error.record];
  const bool dismissed = record.code == kDismissedError;
  std::string text = SecondsText(record.time) + "  " + std::string(EventName(record.code)) + "  " +
                     (dismissed ? log.FullName(record.operation) : log.ErrorCode(record)) + '\n';
  if (error.cause != kNone) {
    const Record& cause = log.records[error.cause];
    text += "    after  " + log.ErrorCode(cause) + " at " + SecondsText(cause.time) + '\n';
  }
  text += "    line " + std::to_string(record.value2) + ", object " + AddressText(record.object) +
          ", " + log.ThreadLabel(record.thread) + '\n';
  std::string before = "    in     ";
  for (const std::string& scope : PathTo(log, scopes, error.record)) {
    text += before + scope;
    before = " > ";
  }
  if (!text.ends_with('\n')) text += '\n';
  output.Write(text);
}

void WriteJson(const Log& log, const Scopes& scopes, const ErrorEvent& error, JsonWriter& json) {
  const Record& record = log.records[error.record];
  json.BeginObject()
      .Member("timeUs", record.time)
      .Member("event", EventName(record.code))
      .Member("class", log.ClassName(record.operation))
      .Member("operation", log.OperationName(record.operation));
  if (record.code != kDismissedError) json.Member("error", log.Name(record.subject));
  if (error.cause != kNone) json.Member("after", log.ErrorCode(log.records[error.cause]));
  json.Member("line", record.value2).Key("object");
  json.Address(record.object)
      .Member("thread", log.threads[record.thread].id)
      .Member("threadName", log.ThreadLabel(record.thread))
      .Key("scopes");
  json.BeginArray();
  for (const std::string& scope : PathTo(log, scopes, error.record)) json.String(scope);
  json.EndArray().EndObject();
  json.EndLine();
}

}  // namespace

void WriteErrors(const Log& log, bool asJson, Output& output) {
  const Scopes scopes = FindScopes(log);
  JsonWriter json(output);
  for (const ErrorEvent& error : FindErrors(log)) {
    if (asJson) {
      WriteJson(log, scopes, error, json);
    } else {
      WriteText(log, scopes, error, output);
    }
  }
}

}  // namespace veltalog
