// SPDX-License-Identifier: MIT
#include "Settings.h"

#include "StoredChain.h"
#include "Text.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"

#include <charconv>
#include <system_error>

namespace host {
namespace {

const wchar_t ClassName[] = L"Settings";
const Velta::Logging::ClassNameRegistration registration(ClassName);

constexpr std::uint32_t kFormat = 1;

struct Count {
  const wchar_t* tag;
  std::uint64_t RunResults::* value;
};

// In the order in which they are stored. As text: the filers' integers have 32 bits, and their
// doubles not all digits of 64.
constexpr Count kCounts[] = {{L"Counted", &RunResults::counted},
                             {L"Failed", &RunResults::failed},
                             {L"Bytes", &RunResults::bytes},
                             {L"Lines", &RunResults::lines},
                             {L"Words", &RunResults::words}};

bool ReadCount(IInFilerTagged& filer, const MString& tag, std::uint64_t* count) {
  MString wide;
  if (!filer.ReadString(tag, &wide, MString())) {
    return false;
  }
  const std::string text = ToUtf8(wide);
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, *count);
  return error == std::errc() && stopped == end;
}

bool WriteResults(IOutFilerTagged& filer, const RunResults& run) {
  bool written = filer.BeginGroup(L"LastRun") && filer.WriteString(L"EndedAt", run.endedAt);
  for (const Count& count : kCounts) {
    written = written && filer.WriteString(count.tag, std::to_wstring(run.*count.value));
  }
  return written && filer.WriteDouble(L"Seconds", run.seconds) &&
         WriteChain(filer, L"LastFailure", run.lastFailure) && filer.EndGroup();
}

bool ReadResults(IInFilerTagged& filer, RunResults& run) {
  bool read = filer.BeginGroup(L"LastRun") && filer.ReadString(L"EndedAt", &run.endedAt, MString());
  for (const Count& count : kCounts) {
    read = read && ReadCount(filer, count.tag, &(run.*count.value));
  }
  return read && filer.ReadDouble(L"Seconds", &run.seconds, 0) &&
         ReadChain(filer, L"LastFailure", run.lastFailure) && filer.EndGroup();
}

bool WriteSettings(IOutFilerTagged& filer, const Settings& settings) {
  return filer.BeginGroup(L"Settings") && filer.WriteUnsignedInt(L"Threads", settings.threads) &&
         filer.WriteBool(L"Quiet", settings.quiet) && filer.EndGroup();
}

void ReadSettings(IInFilerTagged& filer, Settings& settings, std::vector<std::string>& complaints) {
  constexpr Settings kDefaults;
  const bool begun = filer.BeginGroup(L"Settings");
  if (!begun || !filer.ReadUnsignedInt(L"Threads", &settings.threads, kDefaults.threads) ||
      settings.threads < 1 || settings.threads > Settings::kMostThreads) {
    settings.threads = kDefaults.threads;
    complaints.push_back("Settings/Threads is missing or no number from 1 to " +
                         std::to_string(Settings::kMostThreads) + ": " +
                         std::to_string(kDefaults.threads) + " is used");
  }
  if (!begun || !filer.ReadBool(L"Quiet", &settings.quiet, kDefaults.quiet)) {
    complaints.emplace_back("Settings/Quiet is missing or neither yes nor no: no is used");
  }
  if (begun) {
    static_cast<void>(filer.EndGroup());
  }
}

}  // namespace

bool WriteState(IOutFilerTagged& filer, const HostState& state) {
  return filer.WriteUnsignedInt(L"Format", kFormat) && WriteSettings(filer, state.settings) &&
         (!state.lastRun || WriteResults(filer, *state.lastRun));
}

std::optional<HostState> ReadState(IInFilerTagged& filer, std::vector<std::string>& complaints) {
  static MFlowPoint point(ClassName, L"ReadState");
  const MFlowScope scope = point.At(nullptr).OpenScope();
  std::uint32_t format = 0;
  if (!filer.ReadUnsignedInt(L"Format", &format, 0u)) {
    return std::nullopt;
  }
  if (format != kFormat) {
    point.At(nullptr).Raise(L"UnknownFormat", L"format", format);
  }

  HostState state;
  ReadSettings(filer, state.settings, complaints);
  if (!ReadResults(filer, state.lastRun.emplace())) {
    state.lastRun.reset();
    complaints.emplace_back("LastRun lacks a value or has one of another type: it is not shown");
  }
  return state;
}

}  // namespace host
