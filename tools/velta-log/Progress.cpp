// SPDX-License-Identifier: MIT
#include "Progress.h"

#include "Console.h"

#include <chrono>
#include <cstdio>
#include <string>

namespace Velta::Logging {
namespace {

constexpr std::chrono::milliseconds kPatience{400};
constexpr std::chrono::milliseconds kBetweenDraws{100};

}  // namespace

Progress::Progress(std::uint64_t total)
    : total_(total), watched_(ErrorStreamIsTerminal()), nextDraw_(Clock::now() + kPatience) {}

Progress::~Progress() {
  if (drawnLength_ != 0) {
    Draw("");
  }
}

void Progress::Advance(std::uint64_t bytes) {
  done_ += bytes;
  if (!watched_) {
    return;
  }
  const auto now = Clock::now();
  if (now < nextDraw_) {
    return;
  }
  nextDraw_ = now + kBetweenDraws;
  std::string text = "reading: " + std::to_string(done_ >> 20U) + " MB";
  if (total_ != 0) {
    text +=
        " of " + std::to_string(total_ >> 20U) + " (" + std::to_string(done_ * 100 / total_) + "%)";
  }
  Draw(text);
}

void Progress::Draw(const std::string& text) {
  const std::size_t blanks = drawnLength_ > text.size() ? drawnLength_ - text.size() : 0;
  const std::string line = '\r' + text + std::string(blanks, ' ') + (text.empty() ? "\r" : "");
  drawnLength_ = text.size();
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

}  // namespace Velta::Logging
