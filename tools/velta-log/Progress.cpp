// SPDX-License-Identifier: MIT
#include "Progress.h"

#include "Console.h"

#include <cstdio>

namespace veltalog {
namespace {

constexpr std::chrono::milliseconds kPatience{400};
constexpr std::chrono::milliseconds kBetweenDraws{100};

}  // namespace

Progress::Progress(std::uint64_t expected)
    : total(expected), watched(ErrorStreamIsTerminal()), nextDraw(Clock::now() + kPatience) {}

Progress::~Progress() {
  if (drawnLength != 0) {
    Draw("");
  }
}

void Progress::Advance(std::uint64_t bytes) {
  done += bytes;
  if (!watched) {
    return;
  }
  const auto now = Clock::now();
  if (now < nextDraw) {
    return;
  }
  nextDraw = now + kBetweenDraws;
  std::string text = "reading: " + std::to_string(done >> 20U) + " MB";
  if (total != 0) {
    text +=
        " of " + std::to_string(total >> 20U) + " (" + std::to_string(done * 100 / total) + "%)";
  }
  Draw(text);
}

void Progress::Draw(const std::string& text) {
  const std::size_t blanks = drawnLength > text.size() ? drawnLength - text.size() : 0;
  const std::string line = '\r' + text + std::string(blanks, ' ') + (text.empty() ? "\r" : "");
  drawnLength = text.size();
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

}  // namespace veltalog
