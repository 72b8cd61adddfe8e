// SPDX-License-Identifier: MIT
// One synchronous command, from the caller to its result, beside what could be had without us: a
// bare futex ping-pong, the floor of two threads that take turns, and Boost.Asio's post with a
// future.

#include "bench/Placement.h"
#include "velta/commands/MCommandProcessor.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/asio.hpp>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int kCallers = 4;

/// A number that one thread hands to another, which sleeps until it comes.
class Baton {
 public:
  void Pass(std::uint32_t value) {
    word.store(value, std::memory_order_release);
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  }
  void Await(std::uint32_t value) {
    for (std::uint32_t seen; (seen = word.load(std::memory_order_acquire)) != value;) {
      syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, seen, nullptr, nullptr, 0);
    }
  }

 private:
  std::atomic<std::uint32_t> word{0};
};

void CommandFutexFloor(benchmark::State& state, Placement placement) {
  Baton there;
  Baton back;
  std::atomic<bool> ended{false};
  std::thread partner([&] {
    BindWorker(placement);
    for (std::uint32_t round = 1; !ended.load(std::memory_order_relaxed); ++round) {
      there.Await(round);
      back.Pass(round);
    }
  });
  BindCaller(placement);
  std::uint32_t round = 0;
  for (auto _ : state) {
    there.Pass(++round);
    back.Await(round);
  }
  ended.store(true, std::memory_order_relaxed);
  there.Pass(++round);
  partner.join();
  BindThisThread(-1);
}

/// An Asio context with one thread.
class AsioThread {
 public:
  explicit AsioThread(Placement placement)
      : thread([this, placement] {
          BindWorker(placement);
          context.run();
        }) {}
  ~AsioThread() {
    work.reset();
    thread.join();
  }
  boost::asio::io_context context{1};

 private:
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work =
      boost::asio::make_work_guard(context);
  std::thread thread;
};

/// A processor whose thread is placed.
class PlacedProcessor {
 public:
  explicit PlacedProcessor(Placement where) : placement(where) { processor.Start(); }
  ~PlacedProcessor() { processor.Stop(); }

 private:
  void Place() { BindWorker(placement); }

  Placement placement;

 public:
  MCommandProcessor processor{
      nullptr, new MCallbackFunctorImp<PlacedProcessor>(this, &PlacedProcessor::Place),
      nullptr, nullptr,
      0,       false};
};

class Nothing final : public MCommandSynchronous {
 public:
  explicit Nothing(const MExceptionHolder& holder) : MCommandSynchronous(holder) {}

 protected:
  void Execute() override {}
};

void ExecuteNothing(MCommandProcessor& processor, const MExceptionHolder& holder) {
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<Nothing>(holder);
  processor.ExecuteSynchronously(command);
}

void PostNothing(boost::asio::io_context& context) {
  boost::asio::post(context, boost::asio::use_future([] {})).get();
}

void CommandVelta(benchmark::State& state, Placement placement) {
  PlacedProcessor placed(placement);
  const MExceptionHolder holder = MExceptionHolder::Create();
  BindCaller(placement);
  for (auto _ : state) {
    ExecuteNothing(placed.processor, holder);
  }
  BindThisThread(-1);
}

void CommandAsio(benchmark::State& state, Placement placement) {
  AsioThread asio(placement);
  BindCaller(placement);
  for (auto _ : state) {
    PostNothing(asio.context);
  }
  BindThisThread(-1);
}

/// One iteration is a batch of commands from each of four callers.
template <class Call>
void FourCallers(benchmark::State& state, Call call) {
  constexpr int kBatch = 2000;
  for (auto _ : state) {
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i) {
      callers.emplace_back([&] {
        for (int n = 0; n < kBatch; ++n) {
          call();
        }
      });
    }
    for (std::thread& caller : callers) {
      caller.join();
    }
  }
  state.SetItemsProcessed(state.iterations() * kCallers * kBatch);
}

void FourCallersVelta(benchmark::State& state) {
  PlacedProcessor placed(Placement::Free);
  FourCallers(state, [&] {
    thread_local const MExceptionHolder holder = MExceptionHolder::Create();
    ExecuteNothing(placed.processor, holder);
  });
}

void FourCallersAsio(benchmark::State& state) {
  AsioThread asio(Placement::Free);
  FourCallers(state, [&] { PostNothing(asio.context); });
}

void IsAborted(benchmark::State& state) {
  PlacedProcessor placed(Placement::Free);
  for (auto _ : state) {
    benchmark::DoNotOptimize(placed.processor.IsAborted());
  }
}

void IsStopRequested(benchmark::State& state) {
  PlacedProcessor placed(Placement::Free);
  for (auto _ : state) {
    benchmark::DoNotOptimize(placed.processor.IsStopRequested());
  }
}

BENCHMARK_CAPTURE(CommandFutexFloor, shared, Placement::Free)->UseRealTime();
BENCHMARK_CAPTURE(CommandVelta, shared, Placement::Free)->UseRealTime();
BENCHMARK_CAPTURE(CommandAsio, shared, Placement::Free)->UseRealTime();
BENCHMARK_CAPTURE(CommandFutexFloor, two_cores, Placement::TwoCores)->UseRealTime();
BENCHMARK_CAPTURE(CommandVelta, two_cores, Placement::TwoCores)->UseRealTime();
BENCHMARK_CAPTURE(CommandAsio, two_cores, Placement::TwoCores)->UseRealTime();
BENCHMARK(FourCallersVelta)->UseRealTime();
BENCHMARK(FourCallersAsio)->UseRealTime();
BENCHMARK(IsAborted);
BENCHMARK(IsStopRequested);

}  // namespace
