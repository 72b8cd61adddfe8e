// SPDX-License-Identifier: MIT
#include "Options.h"

#include "Text.h"

#include <charconv>
#include <cstddef>

namespace host {
namespace {

constexpr unsigned kMostThreads = 64;

unsigned ParseThreads(const std::filesystem::path& argument) {
  const std::string text = DisplayName(argument);
  const char* const end = text.data() + text.size();
  unsigned threads = 0;
  const auto [stopped, error] = std::from_chars(text.data(), end, threads);
  if (error != std::errc() || stopped != end || threads < 1 || threads > kMostThreads) {
    throw UsageError("--threads takes a number from 1 to " + std::to_string(kMostThreads) +
                     ", not \"" + text + "\"");
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
      if (argument.empty()) throw UsageError("a path is empty");
      options.paths.push_back(argument);
    } else if (argument == "--") {
      onlyPathsFollow = true;
    } else if (argument == "--threads") {
      options.threads = ParseThreads(value());
    } else if (argument == "--log") {
      options.logFile = value();
    } else if (argument == "--quiet") {
      options.quiet = true;
    } else if (argument == "--help") {
      options.help = true;
      return options;
    } else {
      throw UsageError("unknown option \"" + DisplayName(argument) + "\"");
    }
  }
  if (options.paths.empty()) throw UsageError("no files or folders are named");
  return options;
}

std::string UsageText() {
  return "usage: host [--threads N] [--log FILE] [--quiet] PATH...\n"
         "Counts bytes, lines and words of files, and of all files below folders.\n"
         "  --threads N  threads that ask for files to be counted, 1 to " +
         std::to_string(kMostThreads) +
         "; default 4\n"
         "  --log FILE   write the event log of the run to FILE\n"
         "  --quiet      print failures only\n"
         "Exit code: 0 all files counted, 1 some failed, 2 bad arguments.\n";
}

}  // namespace host
