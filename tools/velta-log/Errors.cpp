// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "ErrorHistory.h"
#include "Events.h"
#include "Files.h"
#include "Histories.h"
#include "JsonWriter.h"
#include "Scopes.h"
#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Velta::Logging {
namespace {

/// The scopes around a record, outermost first. Of a deep nesting only both ends: otherwise a
/// recursion in which each step fails would be printed in full for every step.
class ScopePaths {
 public:
  /// Shown at either end.
  static constexpr std::size_t kEnd = 8;

  struct Path {
    std::vector<std::string> names;
    std::size_t leftOut = 0;  ///< after the first `kEnd`
  };

  ScopePaths(const Log& log, const Scopes& scopes) : log_(log), all_(scopes.all), scopes_(scopes) {
    outer_.reserve(all_.size());
    for (std::uint32_t i = 0; i < all_.size(); ++i) {
      outer_.push_back(all_[i].depth < kEnd ? i : outer_[all_[i].parent]);
    }
  }

  [[nodiscard]] Path To(std::uint32_t record) const {
    Path path;
    const std::uint32_t innermost = scopes_.around[record];
    if (innermost == kNone) {
      return path;
    }
    const std::size_t depth = std::size_t{all_[innermost].depth} + 1;
    if (depth <= 2 * kEnd) {
      Climb(innermost, depth, path.names);
    } else {
      Climb(innermost, kEnd, path.names);
      Climb(outer_[innermost], kEnd, path.names);
      path.leftOut = depth - 2 * kEnd;
    }
    std::ranges::reverse(path.names);
    return path;
  }

 private:
  void Climb(std::uint32_t scope, std::size_t count, std::vector<std::string>& names) const {
    for (; count > 0; --count, scope = all_[scope].parent) {
      names.push_back(log_.FullName(log_.records[all_[scope].IdentifyingRecord()].operation));
    }
  }

  const Log& log_;
  const std::vector<Scope>& all_;
  const Scopes& scopes_;
  std::vector<std::uint32_t> outer_;  // of each scope, the one around it that ends the outer part
};

void AppendParameters(std::string& text, const RaisedError& raised) {
  for (const ErrorParameter& parameter : raised.parameters) {
    text += "    with   " + parameter.name.Shown() + " = " + parameter.value.Shown() + '\n';
  }
  if (raised.leftOut > 0) {
    text += "    with   ... " + std::to_string(raised.leftOut) + " more\n";
  }
}

void WriteText(const Log& log, const RaisedError& raised, Output& output) {
  std::string text = SecondsText(AddSaturated(log.start, raised.time)) + "  not in the dump  " +
                     raised.code.Shown() + '\n';
  AppendParameters(text, raised);
  text += "    line " + std::to_string(raised.line) + ", object " + AddressText(raised.object) +
          ", thread " + std::to_string(raised.threadId) + '\n';
  output.Write(text);
}

void WriteText(const Log& log, const ScopePaths& paths, const ErrorEvent& error,
               const RaisedError* raised, Output& output) {
  const Record& record = log.records[error.record];
  const bool dismissed = record.code == kDismissedError;
  std::string text = SecondsText(record.time) + "  " + std::string(EventName(record.code)) + "  " +
                     (dismissed ? log.FullName(record.operation) : log.ErrorCode(record)) + '\n';
  if (error.cause != kNone) {
    const Record& cause = log.records[error.cause];
    text += "    after  " + log.ErrorCode(cause) + " at " + SecondsText(cause.time) + '\n';
  }
  if (raised != nullptr) {
    AppendParameters(text, *raised);
  }
  text += "    line " + std::to_string(record.value2) + ", object " + AddressText(record.object) +
          ", " + log.ThreadLabel(record.thread) + '\n';
  std::string before = "    in     ";
  const ScopePaths::Path path = paths.To(error.record);
  for (std::size_t i = 0; i < path.names.size(); ++i) {
    if (i == ScopePaths::kEnd && path.leftOut > 0) {
      text += " > ... " + std::to_string(path.leftOut) + " more";
    }
    text += before + path.names[i];
    before = " > ";
  }
  if (!text.ends_with('\n')) {
    text += '\n';
  }
  output.Write(text);
}

void WriteJson(const Log& log, const RaisedError& raised, JsonWriter& json) {
  json.BeginObject()
      .Member("timeUs", AddSaturated(log.start, raised.time))
      .Member("class", raised.className.plain)
      .Member("operation", raised.operation.plain)
      .Member("code", raised.code.plain);
  WriteParameters(raised, json);
  json.Member("line", raised.line).Key("object");
  json.Address(raised.object).Member("thread", raised.threadId).Key("inDump");
  json.Bool(false).EndObject();
  json.EndLine();
}

void WriteJson(const Log& log, const ScopePaths& paths, const ErrorEvent& error,
               const RaisedError* raised, JsonWriter& json) {
  const Record& record = log.records[error.record];
  json.BeginObject()
      .Member("timeUs", record.time)
      .Member("event", EventName(record.code))
      .Member("class", log.ClassName(record.operation))
      .Member("operation", log.OperationName(record.operation));
  if (record.code != kDismissedError) {
    json.Member("error", log.Name(record.subject));
  }
  if (error.cause != kNone) {
    json.Member("after", log.ErrorCode(log.records[error.cause]));
  }
  if (raised != nullptr) {
    WriteParameters(*raised, json);
  }
  json.Member("line", record.value2).Key("object");
  json.Address(record.object)
      .Member("thread", log.threads[record.thread].id)
      .Member("threadName", log.ThreadName(record.thread))
      .Key("scopes");
  json.BeginArray();
  const ScopePaths::Path path = paths.To(error.record);
  for (const std::string& scope : path.names) {
    json.String(scope);
  }
  json.EndArray();
  if (path.leftOut > 0) {
    json.Member("scopesLeftOut", path.leftOut);
  }
  json.EndObject();
  json.EndLine();
}

}  // namespace

void WriteParameters(const RaisedError& error, JsonWriter& json) {
  json.Key("parameters").BeginObject();
  bool isCut = error.leftOut > 0;
  for (const auto& [name, value] : error.parameters) {
    json.Member(name.plain, value.plain);
    isCut = isCut || name.isCut || value.isCut;
  }
  json.EndObject();
  if (isCut) {
    json.Key("parametersCut").Bool(true);
  }
}

void WriteErrors(const Log& log, const RaisedErrors& raised, bool json, Output& output) {
  const Scopes scopes = FindScopes(log);
  const ScopePaths paths(log, scopes);
  JsonWriter writer(output);
  for (const ErrorEvent& error : FindErrors(log)) {
    if (json) {
      WriteJson(log, paths, error, raised.Of(error.record), writer);
    } else {
      WriteText(log, paths, error, raised.Of(error.record), output);
    }
  }
  for (const RaisedError& error : raised.WithoutRecord()) {
    if (json) {
      WriteJson(log, error, writer);
    } else {
      WriteText(log, error, output);
    }
  }
}

}  // namespace Velta::Logging
