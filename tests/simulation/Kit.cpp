// SPDX-License-Identifier: MIT
#include "Kit.h"

#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/KLogger.h"

#include <cstdint>
#include <exception>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Velta::Simulation {

namespace {

std::string Narrow(const MString& text) { return {text.begin(), text.end()}; }

/// The scopes that the thread has open, by the log. For a process that has run one schedule: the
/// log has its records only.
std::string OpenScopes(const Thread& thread) {
  std::vector<std::string> scopes;
  const KLogger* const log = KLogger::Instance();
  const std::string ofThread = ", " + std::to_string(thread.id);
  for (std::uint32_t i = 0; log != nullptr && i < KLogger::kCapacity; ++i) {
    const std::string record = log->FormatRecord(i, 0);
    if (record.empty()) {
      break;
    }
    std::istringstream words(record);  // "% Scope_push in_class MJob at Run ..."
    std::string kind;
    std::string owner;
    std::string operation;
    std::string skipped;
    words >> skipped >> kind >> skipped >> owner >> skipped >> operation;
    if (kind == "Scope_push" && record.ends_with(ofThread)) {
      scopes.push_back(owner + "." + operation);
    } else if (kind == "Scope_pop" && record.ends_with(ofThread) && !scopes.empty()) {
      scopes.pop_back();
    }
  }
  std::string text;
  for (const std::string& scope : scopes) {
    text += (text.empty() ? ", in " : " > ") + scope;
  }
  return text;
}

}  // namespace

Error Call(const char* operation, std::string_view documented, const std::function<void()>& call) {
  Error error;
  try {
    call();
    return error;
  } catch (const MException& exception) {
    Check(exception.GetErrorCount() == 1, "%s raised a chain", operation);
    const std::string code = Narrow(exception.GetError(0)->GetCode());
    error.name = code.substr(code.find(':') + 1);
    for (const auto& [name, value] : exception.GetError(0)->GetParameters()) {
      if (name == L"winErrorCode") {
        error.winErrorCode = Narrow(value);
      }
    }
  }
  const std::string all = "|" + std::string(documented) + "|";
  Check(documented == "*" || all.find("|" + error.name + "|") != std::string::npos,
        "%s was told \"%s\"", operation, error.name.c_str());
  return error;
}

Scenario InRun(std::string name, std::function<void()> body, std::string expected) {
  return {std::move(name),
          [body = std::move(body)] {
            describeThread = &OpenScopes;
            std::set_terminate([] { Fail("uncaught exception"); });
            body();
            WaitUntilOthersEnd();
            Platform::CheckAllClosed();
          },
          std::move(expected)};
}

std::vector<Scenario> AllScenarios() {
  std::vector<Scenario> all = PlantedFaults();
  for (const auto& more : {SchedulerScenarios(), ProcessorScenarios()}) {
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

}  // namespace Velta::Simulation
