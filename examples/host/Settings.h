// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MException.h"
#include "velta/serialisation/Described.h"
#include "velta/serialisation/StandardValues.h"
#include "velta/text/MString.h"

#include <cstdint>
#include <optional>

namespace host {

/// What the command line may leave out.
struct Settings {
  static constexpr std::uint32_t kMostThreads = 64;

  std::uint32_t threads = 4;
  bool quiet = false;

  static void Describe(auto& field) {
    field(L"Threads", &Settings::threads, Velta::Between(1, kMostThreads));
    field(L"Quiet", &Settings::quiet);
  }
};

/// What a run came to.
struct RunResults {
  MString endedAt;  ///< UTC, as 2026-11-21T09:44:16Z
  std::uint64_t counted = 0;
  std::uint64_t failed = 0;
  std::uint64_t bytes = 0;
  std::uint64_t lines = 0;
  std::uint64_t words = 0;
  double seconds = 0;
  MException lastFailure;  ///< empty if all went well

  static void Describe(auto& field) {
    field(L"EndedAt", &RunResults::endedAt);
    field(L"Counted", &RunResults::counted);
    field(L"Failed", &RunResults::failed);
    field(L"Bytes", &RunResults::bytes);
    field(L"Lines", &RunResults::lines);
    field(L"Words", &RunResults::words);
    field(L"Seconds", &RunResults::seconds);
    field(L"LastFailure", &RunResults::lastFailure);
  }
};

/// What the host remembers from one run to the next: the same in any store.
struct HostState {
  Settings settings;
  std::optional<RunResults> lastRun;
  Velta::OtherFields others;

  static void Describe(auto& field) {
    field.Version(1);
    field(L"Settings", &HostState::settings);
    field(L"LastRun", &HostState::lastRun);
    field.KeepOthers(&HostState::others);
  }
};

}  // namespace host
