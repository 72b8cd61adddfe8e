// SPDX-License-Identifier: MIT
#include "Options.h"

#include "Settings.h"
#include "Text.h"

#include <charconv>
#include <cstddef>
#include <string>
#include <system_error>

namespace host {
namespace {

std::uint32_t ParseThreads(const std::filesystem::path& argument) {
  const std::string text = DisplayName(argument);
  const char* const end = text.data() + text.size();
  std::uint32_t threads = 0;
  const auto [stopped, error] = std::from_chars(text.data(), end, threads);
  if (error != std::errc() || stopped != end || threads < 1 || threads > Settings::kMostThreads) {
    throw UsageError("--threads takes a number from 1 to " +
                     std::to_string(Settings::kMostThreads) + ", not \"" + text + "\"");
  }
  return threads;
}

bool IsOption(const std::filesystem::path& argument) {
  return !argument.empty() && argument.native().front() == '-';
}

}  // namespace

Options ParseOptions(const std::vector<std::filesystem::path>& arguments) {
  Options options;
  bool onlyPathsFollow = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::filesystem::path& argument = arguments[i];
    const auto value = [&]() -> const std::filesystem::path& {
      if (i + 1 == arguments.size() || arguments[i + 1].empty()) {
        throw UsageError(DisplayName(argument) + " needs a value");
      }
      return arguments[++i];
    };
    if (onlyPathsFollow || !IsOption(argument)) {
      if (argument.empty()) {
        throw UsageError("a path is empty");
      }
      options.paths.push_back(argument);
    } else if (argument == "--") {
      onlyPathsFollow = true;
    } else if (argument == "--threads") {
      options.threads = ParseThreads(value());
    } else if (argument == "--log") {
      options.logFile = value();
    } else if (argument == "--quiet") {
      options.quiet = true;
    } else if (argument == "--no-quiet") {
      options.quiet = false;
    } else if (argument == "--settings") {
      options.settingsFile = value();
    } else if (argument == "--registry") {
      options.registry = true;
    } else if (argument == "--help") {
      options.help = true;
      return options;
    } else {
      throw UsageError("unknown option \"" + DisplayName(argument) + "\"");
    }
  }
  if (options.registry && !options.settingsFile.empty()) {
    throw UsageError("--settings and --registry exclude each other");
  }
  if (options.paths.empty()) {
    throw UsageError("no files or folders are named");
  }
  return options;
}

std::string UsageText() {
  return "usage: host [--threads N] [--[no-]quiet] [--log FILE] [--settings FILE | --registry] "
         "PATH...\n"
         "Counts bytes, lines and words of files, and of all files below folders.\n"
         "  --threads N      threads that ask for files to be counted, 1 to " +
         std::to_string(Settings::kMostThreads) + "; default " +
         std::to_string(Settings().threads) +
         "\n"
         "  --quiet          print failures only; --no-quiet takes that back\n"
         "  --log FILE       write the event log of the run to FILE, its errors to FILE.errors\n"
         "  --settings FILE  remember --threads, --quiet and the results in the XML file FILE\n"
         "  --registry       remember them in the registry\n"
         "What a run remembers, the next one uses and shows. An option that is given counts more,\n"
         "and is remembered. A single value that cannot be used is reported, has its default, and\n"
         "is replaced. Settings that cannot be used as a whole are reported and left as they are:\n"
         "the files are counted, nothing is remembered, and the exit code is 1. It is 1 as well\n"
         "when the settings cannot be written; an old file is then kept.\n"
         "Exit code: 0 all files counted, 1 something failed, 2 bad arguments.\n";
}

}  // namespace host
