// SPDX-License-Identifier: MIT
// What an event costs when it is logged, an error when it is raised, and a record when it is
// dumped.
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/KLogRecord.h"
#include "velta/logging/KLogger.h"
#include "velta/logging/MFlowPoint.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <iomanip>
#include <map>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <spdlog/fmt/fmt.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#include <time.h>
#include <unistd.h>

namespace {

const wchar_t ClassName[] = L"MEngineThread";

// ---- writing ------------------------------------------------------------------------------------

// The least that any such log does when it takes its time from the monotonic clock: claim a slot,
// read the clock, store 40 bytes.
class Floor {
 public:
  Floor() : words(std::size_t{5} * KLogger::kCapacity) {}

  void Write(std::int32_t code, std::int32_t value1, std::int32_t value2, std::int32_t classKey,
             std::int32_t pointKey, const void* object) noexcept {
    const std::uint32_t before = counter.fetch_add(2, std::memory_order_acq_rel);
    std::uint64_t* const record = &words[5 * ((before >> 1U) & (KLogger::kCapacity - 1))];
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    record[0] = static_cast<std::uint64_t>(now.tv_sec) * 1000000000 +
                static_cast<std::uint64_t>(now.tv_nsec);
    record[1] = Join(code, value1);
    record[2] = Join(value2, classKey);
    const auto address = reinterpret_cast<std::uintptr_t>(object);
    record[3] = Join(pointKey, address);
    record[4] = Join(address >> 32U, threadId);
  }

 private:
  static std::uint64_t Join(auto low, auto high) {
    return static_cast<std::uint32_t>(low) |
           static_cast<std::uint64_t>(static_cast<std::uint32_t>(high)) << 32U;
  }

  static thread_local const pid_t threadId;

  std::vector<std::uint64_t> words;
  std::atomic<std::uint32_t> counter{1};
};

thread_local const pid_t Floor::threadId = gettid();

void WriteFloor(benchmark::State& state) {
  static Floor floor;
  for (auto _ : state) {
    floor.Write(-7, 0, 1, 2, 3, &state);
  }
}

void WriteBare(benchmark::State& state) {
  static KLogger log;
  for (auto _ : state) {
    KLogger::Write(&log, -7, 0, 1, 2, 3, &state);
  }
}

void WriteThroughFlowPoint(benchmark::State& state) {
  for (auto _ : state) {
    static MFlowPoint point(ClassName, L"Start");
    point.At(&state).LogConstruction();
  }
}

void OpenAndCloseAScope(benchmark::State& state) {
  for (auto _ : state) {
    static MFlowPoint point(ClassName, L"Start");
    const MFlowScope scope = point.At(&state).OpenScope();
  }
}

// The peer: a ring that keeps the last messages until somebody asks for them.
void WriteSpdlogBacktrace(benchmark::State& state) {
  static const std::shared_ptr<spdlog::logger> logger = [] {
    auto made =
        std::make_shared<spdlog::logger>("ring", std::make_shared<spdlog::sinks::null_sink_mt>());
    made->set_level(spdlog::level::off);
    made->enable_backtrace(KLogger::kCapacity);
    return made;
  }();
  for (auto _ : state) {
    logger->debug("Construction in_class {} at {} for_object {}, {}, {}", "MEngineThread", "Start",
                  static_cast<const void*>(&state), 0, __LINE__);
  }
}

BENCHMARK(WriteFloor)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(WriteBare)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(WriteThroughFlowPoint)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(OpenAndCloseAScope)->UseRealTime();
BENCHMARK(WriteSpdlogBacktrace)->Threads(1)->Threads(2)->UseRealTime();

// ---- raising ------------------------------------------------------------------------------------

// One error, thrown and caught; the throwing itself is most of it.
template <typename Raise>
void RaiseAndCatch(benchmark::State& state, Raise raise) {
  static MFlowPoint point(ClassName, L"Open");
  for (auto _ : state) {
    try {
      raise(point.At(&state));
    } catch (const MException& exception) {
      benchmark::DoNotOptimize(&exception);
    }
  }
}

void RaiseWithoutParameters(benchmark::State& state) {
  RaiseAndCatch(state, [](MFlowPoint& point) { point.Raise(L"NotOpened"); });
}

void RaiseWithParameters(benchmark::State& state) {
  static const MString file = L"C:\\Users\\operator\\Documents\\Plant 4\\settings.xml";
  RaiseAndCatch(state, [](MFlowPoint& point) {
    point.Raise(L"NotOpened", {{L"file", file}, {L"winErrorCode", 5U}});
  });
}

BENCHMARK(RaiseWithoutParameters)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(RaiseWithParameters)->Threads(1)->Threads(2)->UseRealTime();

// ---- dumping ------------------------------------------------------------------------------------

// Memory that is there already, as a file's pages would be.
class MemoryBuffer : public std::streambuf {
 public:
  MemoryBuffer() : bytes(std::size_t{64} << 20U) { Rewind(); }
  void Rewind() { setp(bytes.data(), bytes.data() + bytes.size()); }
  [[nodiscard]] std::ptrdiff_t Length() const { return pptr() - pbase(); }

 private:
  std::vector<char> bytes;
};

constexpr std::int32_t kClasses = 20;
constexpr std::int32_t kPoints = 80;
constexpr std::int32_t kObjects = 40;

// Names, objects and kinds of event as a host of some size has them.
std::string NameOf(std::int32_t key) { return "MSomeClassOrOperation" + std::to_string(key); }
std::int32_t ClassOf(std::uint32_t i) {
  return static_cast<std::int32_t>(i % kClasses) * 32 + 1000;
}
std::int32_t PointOf(std::uint32_t i) { return static_cast<std::int32_t>(i % kPoints) * 24 + 9000; }
const void* ObjectOf(std::uint32_t i) {
  return reinterpret_cast<const void*>(0x7F0012340000 + std::uintptr_t{64} * (i % kObjects));
}

void Fill(KLogger& log) {
  constexpr std::array<std::int32_t, 6> kCodes = {-14, -7, -25, -8, -105, -13};
  for (std::uint32_t i = 0; i < KLogger::kCapacity; ++i) {
    const std::int32_t code = kCodes[i % kCodes.size()];
    const std::int32_t value1 = code == -105 ? PointOf(i) : static_cast<std::int32_t>(i % 4);
    KLogger::Write(&log, code, value1, 123, ClassOf(i), PointOf(i), ObjectOf(i));
  }
}

void Name(KLogger& log) {
  for (std::uint32_t i = 0; i < kPoints; ++i) {
    KLogger::RegisterName(&log, ClassOf(i), NameOf(ClassOf(i)));
    KLogger::RegisterName(&log, PointOf(i), NameOf(PointOf(i)));
    for (std::int32_t state = 0; state < 4; ++state) {
      KLogger::RegisterStateName(&log, ClassOf(i), state, "Running");
    }
  }
  for (std::uint32_t i = 0; i < kObjects; i += 2) {
    KLogger::RegisterObjectName(&log, ObjectOf(i), "An object of a name");
  }
  KLogger::RegisterThreadName(&log, static_cast<std::uint32_t>(gettid()), "Command processor");
}

// The whole of a full ring, its eight pauses of 10 ms included.
void DumpFullRing(benchmark::State& state) {
  KLogger log;
  Name(log);
  MemoryBuffer buffer;
  std::ostream stream(&buffer);
  for (auto _ : state) {
    state.PauseTiming();
    buffer.Rewind();
    Fill(log);
    state.ResumeTiming();
    KLogger::Dump(&log, stream);
  }
  state.counters["bytes"] = static_cast<double>(buffer.Length());
}

// The same without the pauses; what they overrun counts against the log.
void DumpRecords(benchmark::State& state) {
  KLogger log;
  Name(log);
  MemoryBuffer buffer;
  std::ostream stream(&buffer);
  for (auto _ : state) {
    buffer.Rewind();
    Fill(log);
    const auto begin = std::chrono::steady_clock::now();
    KLogger::Dump(&log, stream);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(elapsed.count() - 8 * 0.010);
  }
  state.SetItemsProcessed(state.iterations() * KLogger::kCapacity);
}

// The peers format the same text of the same records with names at hand.
struct Sample {
  KLogRecord record;
  std::int32_t nanos;
};

std::vector<Sample> Samples() {
  std::vector<Sample> samples;
  for (std::uint32_t i = 0; i < 10000; ++i) {
    samples.push_back({{0, -7, 0, 123, ClassOf(i), PointOf(i),
                        reinterpret_cast<std::uintptr_t>(ObjectOf(i)), 4711},
                       static_cast<std::int32_t>(i)});
  }
  return samples;
}

struct Tables {
  std::map<std::int32_t, std::string> names;
  std::map<std::uint64_t, std::string> objects;

  Tables() {
    for (std::uint32_t i = 0; i < kPoints; ++i) {
      names.try_emplace(ClassOf(i), NameOf(ClassOf(i)));
      names.try_emplace(PointOf(i), NameOf(PointOf(i)));
    }
    for (std::uint32_t i = 0; i < kObjects; ++i) {
      objects.try_emplace(reinterpret_cast<std::uintptr_t>(ObjectOf(i)), "An object of a name");
    }
  }
};

template <typename Format>
void FormatSamples(benchmark::State& state, Format format) {
  const Tables tables;
  const std::vector<Sample> samples = Samples();
  std::string text;
  for (auto _ : state) {
    text.clear();
    for (const Sample& sample : samples) {
      format(text, sample, tables);
    }
    benchmark::DoNotOptimize(text.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples.size()));
}

void FormatWithFmt(benchmark::State& state) {
  FormatSamples(state, [](std::string& text, const Sample& sample, const Tables& tables) {
    const KLogRecord& r = sample.record;
    fmt::format_to(std::back_inserter(text),
                   "% Scope_push in_class {} at {} for_object {:016X} ({}) in_thread {} ({})\n"
                   "    {}.{:06}, {}, {}, {}, {}, {}, {}, {}\n",
                   tables.names.at(r.classKey), tables.names.at(r.pointKey), +r.object,
                   tables.objects.at(r.object), +r.threadId, "Command processor", 0, sample.nanos,
                   +r.code, +r.value1, +r.value2, +r.classKey, +r.pointKey, +r.object, +r.threadId);
  });
}

void FormatWithStreams(benchmark::State& state) {
  FormatSamples(state, [](std::string& text, const Sample& sample, const Tables& tables) {
    const KLogRecord& r = sample.record;
    std::ostringstream out;
    out << "% Scope_push in_class " << tables.names.at(r.classKey) << " at "
        << tables.names.at(r.pointKey) << " for_object " << std::hex << std::uppercase
        << std::setfill('0') << std::setw(16) << +r.object << " (" << tables.objects.at(r.object)
        << std::dec << ") in_thread " << +r.threadId << " (Command processor)\n    0."
        << std::setw(6) << sample.nanos << ", " << +r.code << ", " << +r.value1 << ", " << +r.value2
        << ", " << +r.classKey << ", " << +r.pointKey << ", " << +r.object << ", " << +r.threadId
        << "\n";
    text += out.str();
  });
}

BENCHMARK(DumpFullRing)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DumpRecords)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(FormatWithFmt)->Unit(benchmark::kMillisecond);
BENCHMARK(FormatWithStreams)->Unit(benchmark::kMillisecond);

}  // namespace
