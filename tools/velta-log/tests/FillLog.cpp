// SPDX-License-Identifier: MIT
// Fills the library's log with the work of several threads and dumps it, with its errors beside it:
// what the tool is tested and measured with.
//
//   velta_log_fill FILE RECORDS THREADS
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MDiagnosticsRegistry.h"
#include "velta/logging/MErrorHistory.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

const wchar_t StationClassName[] = L"Station";
const wchar_t PartClassName[] = L"Part<int>";

/// One thing that is made, measured and destroyed.
class Part {
 public:
  explicit Part(std::uint32_t number) : number_(number) {
    static MFlowPoint point(PartClassName, PartClassName);
    point.At(this).LogConstruction();
  }
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;
  ~Part() {
    static MFlowPoint point(PartClassName, L"~Part<int>");
    point.At(this).LogDestruction();
  }

  void Measure() {
    static MFlowPoint point(PartClassName, L"Measure");
    const MFlowScope scope = point.At(this).OpenScope(number_, 0);
    point.At(this).LogTimingPoint(number_, Checksum());
    if (number_ % 50 == 49) {
      point.At(this).Raise(L"TooLarge",
                           {{L"file", L"C:\\parts\n\u00fc.xml"}, {L"number", number_}});
    }
  }

 private:
  /// Something to do, for some parts more than for others: a log has durations to show.
  [[nodiscard]] std::uint32_t Checksum() const {
    std::uint32_t sum = number_;
    for (std::uint32_t i = 0; i < number_ % 40 * 1000; ++i) {
      sum = sum * 1664525 + 1013904223;
    }
    return sum;
  }

  std::uint32_t number_;
};

/// A place of work, used by one thread.
class Station {
 public:
  void Run(std::uint32_t parts) {
    static MFlowPoint point(StationClassName, L"Run");
    const MFlowScope scope = point.At(this).OpenScope();
    ChangeState(1);
    for (std::uint32_t number = 0; number < parts; ++number) {
      Work(number);
    }
    ChangeState(2);
  }

 private:
  void Work(std::uint32_t number) {
    static MFlowPoint point(StationClassName, L"Work");
    const MFlowScope scope = point.At(this).OpenScope();
    try {
      Part part(number);
      part.Measure();
      if (number % 100 == 0) {
        ChangeState(0);
        ChangeState(1);
      }
    } catch (const MException& exception) {
      point.At(this).LogDismissedError(exception);
    }
  }

  void ChangeState(std::uint32_t state) {
    static MFlowPoint point(StationClassName, L"ChangeState");
    point.At(this).LogStateChange(state, 0);
  }
};

void RegisterNames() {
  MDiagnosticsRegistry* const registry = MDiagnosticsRegistry::Instance();
  registry->RegisterClassName(StationClassName, StationClassName);
  registry->RegisterClassName(PartClassName, PartClassName);
  registry->RegisterStateName(StationClassName, 0, L"Cleaning");
  registry->RegisterStateName(StationClassName, 1, L"Working at half-past \u00fc");
  registry->RegisterStateName(StationClassName, 2, L"Done");
}

// Work of seven records, a little more for errors and states.
constexpr std::uint32_t kRecordsPerPart = 7;

}  // namespace

int main(int count, char** values) {
  if (count != 4) {
    return 2;
  }
  const auto records = static_cast<std::uint32_t>(std::strtoul(values[2], nullptr, 10));
  const auto threadCount = static_cast<std::uint32_t>(std::strtoul(values[3], nullptr, 10));
  if (threadCount == 0) {
    return 2;
  }
  RegisterNames();
  static_cast<void>(MFlowLogger::Instance());  // threads that race for it may make it twice
  const std::uint32_t parts = records / threadCount / kRecordsPerPart;
  std::vector<std::thread> threads;
  threads.reserve(threadCount);
  std::latch allReady(threadCount);
  for (std::uint32_t i = 0; i < threadCount; ++i) {
    threads.emplace_back([&allReady, i, parts] {
      const std::wstring name = L"Line " + std::to_wstring(i + 1);
      MDiagnosticsRegistry::Instance()->RegisterThreadName(name.c_str());
      Station station;
      MDiagnosticsRegistry::Instance()->RegisterObjectName(&station,
                                                           (L"Station at " + name).c_str());
      allReady.arrive_and_wait();  // so that the lines work at the same time
      station.Run(parts);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  if (!MErrorHistory::DumpToFile(std::string(values[1]) + ".errors")) {
    return 1;
  }
  std::ofstream file(std::filesystem::path(values[1]), std::ios::binary);
  MFlowLogger::Instance()->Dump(file);
  file.close();
  return file ? 0 : 1;
}
