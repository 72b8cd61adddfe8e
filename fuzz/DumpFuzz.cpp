// SPDX-License-Identifier: MIT
// Any text as a dump: it is read alike in whatever pieces. Any names: what the log writes, its
// reader reads.
#include "fuzz/FuzzInput.h"
#include "tools/velta-log/DumpReader.h"
#include "velta/logging/KLogger.h"
#include "velta/platform/internal/Win32.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace {

using Velta::Logging::Log;

std::string Bytes(FuzzInput& input, std::size_t limit = SIZE_MAX) {
  std::string text;
  for (; limit > 0 && !input.IsEmpty(); --limit) {
    text += static_cast<char>(input.Byte());
  }
  return text;
}

std::uint64_t Read(std::string_view dump, std::size_t piece, Log& log) {
  Velta::Logging::Damage damage;
  Velta::Logging::DumpReader reader(log, damage);
  for (; !dump.empty(); dump.remove_prefix((std::min)(piece, dump.size()))) {
    reader.Take(dump.substr(0, piece));
  }
  reader.Finish();
  return damage.count;
}

void ReadText(FuzzInput& input) {
  const std::size_t piece = input.Byte() + std::size_t{1};
  const std::string dump = Bytes(input);
  Log whole;
  Log inPieces;
  Require(Read(dump, SIZE_MAX, whole) == Read(dump, piece, inPieces));
  Require(std::ranges::equal(whole.records, inPieces.records, {}, &Velta::Logging::Record::time,
                             &Velta::Logging::Record::time));
  Require(whole.names.Size() == inPieces.names.Size());
}

// Without the words by which a dump separates names: it cuts a name that holds one.
std::string Name(FuzzInput& input) {
  const std::string name = Bytes(input, input.Byte() % 16);
  for (const std::string_view word : {" in_class ", " at ", " for_object ", ") in_thread ", "% "}) {
    if ((' ' + name + ' ').find(word) != std::string::npos) {
      return "name";
    }
  }
  return name;
}

void ReadNames(FuzzInput& input) {
  static constexpr std::int32_t kCodes[] = {-105, -25, -21, -14, 0, 7};
  const bool throughTextMode = input.Byte() % 2 != 0;
  const std::string names[] = {Name(input), Name(input), Name(input), Name(input), Name(input)};
  KLogger log;
  KLogger::RegisterName(&log, 1, names[0]);
  KLogger::RegisterName(&log, 2, names[1]);
  KLogger::RegisterName(&log, 3, names[2]);
  KLogger::RegisterStateName(&log, 1, 3, names[2]);
  KLogger::RegisterMessageName(&log, 3, names[2]);
  KLogger::RegisterObjectName(&log, &log, names[3]);
  KLogger::RegisterThreadName(&log, ::GetCurrentThreadId(), names[4]);
  std::string dump = "%% Reference time: 0.000000 is wrong.\n%%\n";
  for (std::uint32_t i = 0; i < std::size(kCodes); ++i) {
    KLogger::Write(&log, kCodes[i], 3, 0, 1, 2, &log);
    dump += log.FormatRecord(i, 0) + '\n';
  }
  for (std::size_t i = 0; throughTextMode && (i = dump.find('\n', i)) != std::string::npos;
       i += 2) {
    dump.insert(i, 1, '\r');
  }

  Log read;
  Require(Read(dump, SIZE_MAX, read) == 0);
  Require(read.records.size() == std::size(kCodes) && read.operations.size() == 1 &&
          read.threads.size() == 1);
  const auto is = [&](Velta::Logging::NameId found, std::size_t name) {
    return found == read.names.Intern(names[name]);
  };
  Require(is(read.operations[0].className, 0) && is(read.operations[0].name, 1));
  Require(is(read.threads[0].name, 4));
  for (std::size_t i = 0; i < read.records.size(); ++i) {
    Require(is(read.records[i].objectName, 3) && (i > 2 || is(read.records[i].subject, 2)));
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  if (input.Byte() % 2 == 0) {
    ReadText(input);
  } else {
    ReadNames(input);
  }
  return 0;
}
