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

/// The scopes around a record, outermost first. Of deep ones only both ends: recursion in which
/// each step fails would else be told in full once a step.
class ScopePaths {
 public:
  /// Shown at either end.
  static constexpr std::size_t kEnd = 8;

  struct Path {
    std::vector<std::string> names;
    std::size_t leftOut = 0;  ///< behind the first `kEnd`
  };

  ScopePaths(const Log& source, const Scopes& found) : log(source), all(found.all), scopes(found) {
    outer.reserve(all.size());
    for (std::uint32_t i = 0; i < all.size(); ++i) {
      outer.push_back(all[i].depth < kEnd ? i : outer[all[i].parent]);
    }
  }

  [[nodiscard]] Path To(std::uint32_t record) const {
    Path path;
    const std::uint32_t innermost = scopes.around[record];
    if (innermost == kNone) {
      return path;
    }
    const std::size_t depth = std::size_t{all[innermost].depth} + 1;
    if (depth <= 2 * kEnd) {
      Climb(innermost, depth, path.names);
    } else {
      Climb(innermost, kEnd, path.names);
      Climb(outer[innermost], kEnd, path.names);
      path.leftOut = depth - 2 * kEnd;
    }
    std::ranges::reverse(path.names);
    return path;
  }

 private:
  void Climb(std::uint32_t scope, std::size_t count, std::vector<std::string>& names) const {
    for (; count > 0; --count, scope = all[scope].parent) {
      names.push_back(log.FullName(log.records[all[scope].Teller()].operation));
    }
  }

  const Log& log;
  const std::vector<Scope>& all;
  const Scopes& scopes;
  std::vector<std::uint32_t> outer;  // of each scope, the one around it that ends the outer part
};

void WriteText(const Log& log, const ScopePaths& paths, const ErrorEvent& error, Output& output) {
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

void WriteJson(const Log& log, const ScopePaths& paths, const ErrorEvent& error, JsonWriter& json) {
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

void WriteErrors(const Log& log, bool asJson, Output& output) {
  const Scopes scopes = FindScopes(log);
  const ScopePaths paths(log, scopes);
  JsonWriter json(output);
  for (const ErrorEvent& error : FindErrors(log)) {
    if (asJson) {
      WriteJson(log, paths, error, json);
    } else {
      WriteText(log, paths, error, output);
    }
  }
}

}  // namespace veltalog
