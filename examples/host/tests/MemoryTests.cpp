// SPDX-License-Identifier: MIT
// What the host stores is loaded unchanged, to the last bit.
#include "examples/host/FrameworkErrors.h"
#include "examples/host/SettingsFile.h"
#include "examples/host/SettingsRegistry.h"
#include "tests/support/Allocations.h"
#include "tests/support/RegistryKit.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <new>
#include <string>
#include <system_error>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace host {
namespace {

namespace fs = std::filesystem;

/// The path of a file that is not there, nor will be afterwards.
class NoFile {
 public:
  NoFile() : path(fs::temp_directory_path() / UniqueKeyName()) {}
  ~NoFile() {
    std::error_code ignored;
    fs::remove(path, ignored);
  }

  const fs::path path;
};

HostState Extremes() {
  HostState state;
  state.settings = {64, true};
  RunResults& run = state.lastRun.emplace();
  run.endedAt = L"2026-02-28T23:59:60Z";
  run.counted = (std::numeric_limits<std::uint64_t>::max)();
  run.bytes = (std::uint64_t{1} << 53) + 1;
  run.words = 1;
  run.seconds = 0.1 + 0.2;
  MError cause(L"A.B:Cause");
  cause.AddParameter(L"file", MString(L"<&>\"' ]]> &amp;\r\n\t \u00FC\u20AC\U0001F600"));
  cause.AddParameter(L"empty", MString());
  run.lastFailure.AddError(cause);
  run.lastFailure.AddError(MError(L"C.D:Error"));
  run.lastFailure.AddError(MError(L"C.D:Error"));
  return state;
}

void ExpectEqual(const HostState& actual, const HostState& expected) {
  const auto allOf = [](const HostState& state) {
    const RunResults& run = state.lastRun.value();
    return std::tuple(state.settings.threads, state.settings.quiet, run.endedAt, run.counted,
                      run.failed, run.bytes, run.lines, run.words, run.seconds,
                      Describe(run.lastFailure));
  };
  EXPECT_EQ(allOf(actual), allOf(expected));
}

void ExpectRemembers(SettingsStore& store) {
  Velta::FieldProblems problems;
  EXPECT_FALSE(store.Load(problems).lastRun);

  HostState state = Extremes();
  store.Save(state);
  ExpectEqual(store.Load(problems), state);

  state.lastRun.emplace();  // nothing of the old chain may stay
  store.Save(state);
  ExpectEqual(store.Load(problems), state);
  EXPECT_THAT(problems, ::testing::IsEmpty());
}

TEST(HostMemory, AFileGivesBackWhatItWasGiven) {
  const NoFile file;
  SettingsFile store(file.path);
  ExpectRemembers(store);
}

TEST(HostMemory, WithoutMemoryAFileIsNotTakenForAnother) {
  const NoFile file;
  SettingsFile store(file.path);
  store.Save(Extremes());
  Velta::FieldProblems problems;
  ASSERT_TRUE(store.Load(problems).lastRun);
  constexpr int kOnce = 1;  // so that there is memory for whatever error comes of it
  Allocations::RefuseEverywhere(
      [&] {
        try {
          ASSERT_TRUE(store.Load(problems).lastRun);
        } catch (const std::bad_alloc&) {
        } catch (const MException& exception) {
          EXPECT_EQ(Describe(exception), "  Out of memory\n");
        }
      },
      kOnce);
  EXPECT_THAT(problems, ::testing::IsEmpty());
}

TEST(HostMemory, TheRegistryGivesBackWhatItWasGiven) {
  [[maybe_unused]] const TestRegistry registry;
  const MString application = UniqueKeyName();
  SettingsRegistry store(application);
  ExpectRemembers(store);
#if defined(_WIN32)
  ::RegDeleteTreeW(HKEY_CURRENT_USER, (L"Software\\Velta\\" + application).c_str());
#endif
}

}  // namespace
}  // namespace host
