// SPDX-License-Identifier: MIT
// Any text as an errors file: it is read alike in whatever pieces. Any errors: what the library
// keeps and writes, the tool reads.
#include "fuzz/FuzzInput.h"
#include "tools/velta-log/ErrorHistory.h"
#include "velta/logging/internal/ErrorHistoryText.h"
#include "velta/logging/internal/ErrorRing.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace {

using Velta::Logging::Damage;
using Velta::Logging::ErrorHistory;
using Velta::Logging::ErrorRing;

std::uint64_t Read(std::string_view text, std::size_t piece, ErrorHistory& history) {
  Damage damage;
  Velta::Logging::ErrorHistoryReader reader(history, damage);
  for (; !text.empty(); text.remove_prefix((std::min)(piece, text.size()))) {
    reader.Take(text.substr(0, piece));
  }
  reader.Finish();
  return damage.count;
}

void ReadText(FuzzInput& input) {
  const std::size_t piece = input.Byte() + std::size_t{1};
  std::string text;
  while (!input.IsEmpty()) {
    text += static_cast<char>(input.Byte());
  }
  ErrorHistory whole;
  ErrorHistory inPieces;
  Require(Read(text, SIZE_MAX, whole) == Read(text, piece, inPieces));
  Require(std::ranges::equal(whole.errors, inPieces.errors, {},
                             &Velta::Logging::RaisedError::number,
                             &Velta::Logging::RaisedError::number));
}

void ReadKept(FuzzInput& input) {
  const auto slots = std::make_unique<ErrorRing::Slots>();
  ErrorRing ring(*slots);
  ring.SetClock({.startCounter = 1, .frequency = 1000, .startMs = 2});
  std::size_t count = 0;
  for (; count < 300 && !input.IsEmpty(); ++count) {
    const MString code = input.Text(input.Byte());
    std::map<MString, MString> parameters;
    for (unsigned left = input.Byte() % 8; left > 0; --left) {
      const MString name = input.Text(input.Byte() % 16);
      parameters.emplace(name, input.Text(input.Byte() * std::size_t{8}));
    }
    ring.Keep({.time = input.Byte(), .threadId = 1, .line = input.Byte()},
              {L"Class", nullptr, code, parameters});
  }
  std::ostringstream stream;
  Require(WriteErrorHistory(ring, stream));
  ErrorHistory history;
  Require(Read(stream.str(), SIZE_MAX, history) == 0);
  Require(history.errors.size() == (std::min)(count, ErrorRing::kCapacity));
  for (std::size_t i = 0; i < history.errors.size(); ++i) {
    const Velta::Logging::RaisedError& error = history.errors[i];
    Require(error.number == count - history.errors.size() + i);
    Require(error.className.plain == "Class" && error.operation.plain.empty());
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  if (input.Byte() % 2 == 0) {
    ReadText(input);
  } else {
    ReadKept(input);
  }
  return 0;
}
