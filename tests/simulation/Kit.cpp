// SPDX-License-Identifier: MIT
#include "Kit.h"

#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/KLogger.h"

#include <cstdint>
#include <exception>
#include <regex>
#include <utility>
#include <vector>

namespace Velta::Simulation {

namespace {

std::string Narrow(const MString& text) { return {text.begin(), text.end()}; }

/// The scopes that the thread has open, by the log. For a process that has run one schedule: the
/// log has its records only.
std::string OpenScopes(const Thread& thread) {
  const std::regex pattern("^% Scope_(push|pop) in_class (\\S+) at (\\S+) .*in_thread (\\d+)");
  std::vector<std::string> scopes;
  const KLogger* const log = KLogger::Instance();
  std::string record;
  for (std::uint32_t i = 0; i < KLogger::kCapacity; ++i) {
    record = log != nullptr ? log->FormatRecord(i, 0) : "";
    std::smatch part;
    if (record.empty()) {
      break;
    }
    if (!std::regex_search(record, part, pattern) || part[4] != std::to_string(thread.id)) {
      continue;
    }
    if (part[1] == "push") {
      scopes.push_back(part[2].str() + "." + part[3].str());
    } else if (!scopes.empty()) {
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
