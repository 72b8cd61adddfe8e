// SPDX-License-Identifier: MIT
// The queue beside a mutex and a deque, and notifications beside Boost.Asio's post.

#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/asio.hpp>

namespace {

constexpr std::int64_t kTransfers = 200000;

using Fifo = MThreadSafeFifo<std::int64_t*, std::int64_t*>;

/// What one writes without us.
class MutexDeque {
 public:
  void Push(std::int64_t* item) {
    const std::lock_guard lock(mutex);
    items.push_back(item);
  }
  bool Pop(std::int64_t*& item) {
    const std::lock_guard lock(mutex);
    if (items.empty()) {
      return false;
    }
    item = items.front();
    items.pop_front();
    return true;
  }

 private:
  std::mutex mutex;
  std::deque<std::int64_t*> items;
};

template <class Queue>
void OneThread(benchmark::State& state) {
  Queue queue;
  std::int64_t value = 0;
  for (int i = 0; i < 16; ++i) {
    queue.Push(&value);
  }
  for (auto _ : state) {
    std::int64_t* item = nullptr;
    queue.Push(&value);
    benchmark::DoNotOptimize(queue.Pop(item));
  }
  state.SetItemsProcessed(state.iterations());
}

/// How a consumer waits: on the event that the queue has for it, or by asking again.
void AwaitItem(Fifo& queue) { benchmark::DoNotOptimize(queue.WaitForData(~std::uint32_t{0})); }
void AwaitItem(MutexDeque& /*queue*/) { std::this_thread::yield(); }

/// One iteration moves `kTransfers` items from the producers to this thread.
template <class Queue>
void ToOneConsumer(benchmark::State& state) {
  const std::int64_t producers = state.range(0);
  for (auto _ : state) {
    Queue queue;
    std::int64_t value = 0;
    std::vector<std::thread> threads;
    for (std::int64_t i = 0; i < producers; ++i) {
      threads.emplace_back([&] {
        for (std::int64_t n = 0; n < kTransfers / producers; ++n) {
          queue.Push(&value);
        }
      });
    }
    for (std::int64_t taken = 0; taken < kTransfers;) {
      std::int64_t* item = nullptr;
      if (queue.Pop(item)) {
        ++taken;
      } else {
        AwaitItem(queue);
      }
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  state.SetItemsProcessed(state.iterations() * kTransfers);
}

/// The cost of a push that finds a backlog.
void PushAtDepth(benchmark::State& state) {
  const std::int64_t depth = state.range(0);
  std::int64_t value = 0;
  for (auto _ : state) {
    Fifo queue;
    for (std::int64_t i = 0; i < depth; ++i) {
      queue.Push(&value);
    }
  }
  state.SetItemsProcessed(state.iterations() * depth);
}

void IsEmpty(benchmark::State& state) {
  Fifo queue;
  for (auto _ : state) {
    benchmark::DoNotOptimize(queue.IsEmpty());
  }
}

class Count final : public MDesyncEvent {
 public:
  explicit Count(std::atomic<std::int64_t>& delivered) : counter(delivered) {}
  void Fire() override { counter.fetch_add(1, std::memory_order_relaxed); }

 private:
  std::atomic<std::int64_t>& counter;
};

/// One iteration: `kTransfers` notifications from the producers, until the last is delivered.
template <class Schedule>
void Deliver(benchmark::State& state, std::atomic<std::int64_t>& delivered, Schedule schedule) {
  const std::int64_t producers = state.range(0);
  for (auto _ : state) {
    delivered.store(0, std::memory_order_relaxed);
    std::vector<std::thread> threads;
    for (std::int64_t i = 0; i < producers; ++i) {
      threads.emplace_back([&] {
        for (std::int64_t n = 0; n < kTransfers / producers; ++n) {
          schedule();
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    while (delivered.load(std::memory_order_relaxed) < kTransfers) {
      std::this_thread::yield();
    }
  }
  state.SetItemsProcessed(state.iterations() * kTransfers);
}

void NotificationsVelta(benchmark::State& state) {
  std::atomic<std::int64_t> delivered{0};
  MDesyncEventScheduler scheduler(nullptr);
  scheduler.Enable();
  Deliver(state, delivered, [&] { scheduler.ScheduleDesyncEvent(new Count(delivered)); });
  scheduler.Disable();
}

void NotificationsAsio(benchmark::State& state) {
  std::atomic<std::int64_t> delivered{0};
  boost::asio::io_context context(1);
  auto work = boost::asio::make_work_guard(context);
  std::thread thread([&] { context.run(); });
  Deliver(state, delivered, [&] {
    boost::asio::post(context, [&] { delivered.fetch_add(1, std::memory_order_relaxed); });
  });
  work.reset();
  thread.join();
}

BENCHMARK_TEMPLATE(OneThread, Fifo);
BENCHMARK_TEMPLATE(OneThread, MutexDeque);
BENCHMARK_TEMPLATE(ToOneConsumer, Fifo)->Arg(1)->Arg(4)->UseRealTime();
BENCHMARK_TEMPLATE(ToOneConsumer, MutexDeque)->Arg(1)->Arg(4)->UseRealTime();
BENCHMARK(PushAtDepth)->Arg(1000)->Arg(100000);
BENCHMARK(IsEmpty);
BENCHMARK(NotificationsVelta)->Arg(1)->Arg(4)->UseRealTime();
BENCHMARK(NotificationsAsio)->Arg(1)->Arg(4)->UseRealTime();

}  // namespace
