// SPDX-License-Identifier: MIT
// Reads dumps of the event log: see README.md.
#include "Commands.h"
#include "Console.h"
#include "Files.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

namespace Velta::Logging {
namespace {

enum ExitCode { kFine = 0, kDamaged = 1, kFailed = 2 };

/// The command line and its result.
class Tool {
 public:
  Tool() {
    app_.require_subcommand(1);
    app_.footer(
        "FILE is a dump, or - for standard input. FILE.errors, where it is there, holds the\n"
        "errors with their parameters.\n"
        "Exit code: 0 fine, 1 the input is damaged (the result holds what could be read),\n"
        "2 bad arguments, or a file that cannot be read or written.");
    CLI::App* const summary =
        Add("summary", "What happened, in numbers",
            [this](const Log& log, Output& to) { WriteSummary(log, summaryOptions_, to); });
    summary->add_flag("--json", summaryOptions_.json, "Print one JSON object; all rows");
    summary->add_option("--rows", summaryOptions_.rows, "Rows of each table; default 20");
    Add("trace", "The trace event format that Perfetto and chrome://tracing read", WriteTrace);
    AddWithErrors("view", "A page that shows the log in a browser",
                  [this](const Log& log, const RaisedErrors& raised, Output& to) {
                    WriteView(log, raised, Title(), to);
                  });
    AddWithErrors("errors", "The errors, one by one, with parameters and the scopes around them",
                  [this](const Log& log, const RaisedErrors& raised, Output& to) {
                    WriteErrors(log, raised, errorsAsJson_, to);
                  })
        ->add_flag("--json", errorsAsJson_, "Print JSON, one object a line");
    AddWithErrors("jsonl", "Every record as JSON, one object a line", WriteJsonLines);
    AddDiff();
  }

  int Run(std::vector<std::string> arguments) {
    std::ranges::reverse(arguments);  // as the parser wants them
    try {
      app_.parse(arguments);
    } catch (const CLI::Success& help) {
      return app_.exit(help);
    } catch (const CLI::ParseError& error) {
      app_.exit(error);
      return kFailed;
    }
    return damaged_ ? kDamaged : kFine;
  }

 private:
  using Writer = std::function<void(const Log&, Output&)>;

  CLI::App* Add(const std::string& name, const std::string& text, Writer write) {
    CLI::App* const command = app_.add_subcommand(name, text);
    command->add_option("FILE", input_, "The dump; default: standard input");
    AddOutput(command);
    command->callback([this, write = std::move(write)] {
      const Log log = Read(input_);
      Output output(outputName_);
      write(log, output);
      output.Close();
    });
    return command;
  }

  template <typename Write>
  CLI::App* AddWithErrors(const std::string& name, const std::string& text, Write write) {
    CLI::App* const command = Add(name, text, [this, write](const Log& log, Output& to) {
      write(log, RaisedErrors(log, ReadErrorsOf(log)), to);
    });
    command->add_option("--errors", errorsInput_,
                        "The errors file of the dump; default: FILE.errors, if it is there");
    return command;
  }

  void AddDiff() {
    CLI::App* const command =
        app_.add_subcommand("diff", "What one run does that another does not");
    command->add_option("FIRST", input_, "A dump")->required();
    command->add_option("SECOND", secondInput_, "A dump of another run")->required();
    AddOutput(command);
    command->callback([this] {
      const Log first = Read(input_);
      const Log second = Read(secondInput_);
      Output output(outputName_);
      WriteDiff(first, second, output);
      output.Close();
    });
  }

  void AddOutput(CLI::App* command) {
    command->add_option("-o,--output", outputName_, "Write to this file");
  }

  Log Read(const std::string& name) {
    Damage damage;
    Log log = ReadDump(name, damage);
    Tell(name, damage);
    return log;
  }

  ErrorHistory ReadErrorsOf(const Log& log) {
    std::string name = errorsInput_;
    if (name.empty()) {
      name = input_ + ".errors";
      if (input_ == "-" || !IsFile(name)) {
        return {};
      }
    }
    Damage damage;
    ErrorHistory history = ReadErrors(name, damage);
    if (damage.count == 0 && !AreOfOneRun(log, history)) {
      damage.Report(2, "errors of another run than the dump's");
      history = {};
    }
    Tell(name, damage);
    return history;
  }

  void Tell(const std::string& name, const Damage& damage) {
    const std::string shown = name == "-" ? "standard input" : name;
    for (const Damage::Place& place : damage.places) {
      std::fprintf(stderr, "velta-log: %s:%llu: %.*s\n", shown.c_str(),
                   static_cast<unsigned long long>(place.line),
                   static_cast<int>(place.problem.size()), place.problem.data());
    }
    if (damage.count > damage.places.size()) {
      std::fprintf(stderr, "velta-log: %s: and %llu more places\n", shown.c_str(),
                   static_cast<unsigned long long>(damage.count - damage.places.size()));
    }
    damaged_ = damaged_ || damage.count > 0;
  }

  [[nodiscard]] std::string Title() const {
    if (input_ == "-") {
      return "event log";
    }
    const std::size_t slash = input_.find_last_of("/\\");
    return slash == std::string::npos ? input_ : input_.substr(slash + 1);
  }

  CLI::App app_{"Reads dumps of the event log.", "velta-log"};
  std::string input_ = "-";
  std::string secondInput_;
  std::string errorsInput_;
  std::string outputName_ = "-";
  SummaryOptions summaryOptions_;
  bool errorsAsJson_ = false;
  bool damaged_ = false;
};

int Main(std::vector<std::string> arguments) {
  const Utf8Console console;
  try {
    return Tool().Run(std::move(arguments));
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "velta-log: %s\n", exception.what());
    return kFailed;
  }
}

}  // namespace
}  // namespace Velta::Logging

#if defined(_WIN32)
int wmain(int count, wchar_t** values) {
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    const std::u8string text = std::filesystem::path(values[i]).u8string();
    arguments.emplace_back(text.begin(), text.end());
  }
  return Velta::Logging::Main(std::move(arguments));
}
#else
int main(int count, char** values) {
  return Velta::Logging::Main(std::vector<std::string>(values + 1, values + count));
}
#endif
