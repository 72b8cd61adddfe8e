// SPDX-License-Identifier: MIT
#include "tests/support/StressScale.h"
#include "tests/support/ThreadKit.h"
#include "tests/support/Watchdog.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <array>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

// The queue's slots, taken literally: a buffer that grows by the step and nothing else.
class SlotModel {
 public:
  explicit SlotModel(std::size_t growStep) : step(growStep) {}

  void Push(int* item) {
    if (count == slots.size()) {
      std::vector<int*> larger(slots.size() + step);
      for (std::size_t i = 0; i < count; ++i) {
        larger[i] = slots[(head + i) % slots.size()];
      }
      slots = larger;
      head = 0;
    }
    slots[(head + count++) % slots.size()] = item;
  }

  int* Pop() {
    int* const item = slots[head];
    head = (head + 1) % slots.size();
    --count;
    return item;
  }

  void Clear() {
    slots.clear();
    head = count = 0;
  }

  std::vector<int*> slots;
  std::size_t step;
  std::size_t head = 0;
  std::size_t count = 0;
};

TEST(MThreadSafeFifo, BehavesAsItsSlotsDoForAnySequenceAndGrowStep) {
  std::array<int, 1000> items{};
  for (const int step : {1, 2, 3, 7, 64}) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
      SCOPED_TRACE(testing::Message() << "step " << step << ", seed " << seed);
      std::mt19937 random(seed);
      MThreadSafeFifo<int*, int*> queue(step);
      MThreadSafeFifoInput<int*, int*>& input = queue;
      MThreadSafeFifoOutput<int*, int*>& output = queue;
      SlotModel model(static_cast<std::size_t>(step));
      for (int i = 0; i < StressRounds(3000); ++i) {
        const auto choice = random() % 100;
        if (choice < 48 + seed) {  // some grow, some run empty
          int* const item = &items[random() % items.size()];
          input.Push(item);
          model.Push(item);
        } else if (choice < 98) {
          int untouched = 0;
          int* out = &untouched;
          const bool filled = model.count > 0;
          EXPECT_EQ(output.Pop(out), filled);
          EXPECT_EQ(out, filled ? model.Pop() : &untouched);
        } else if (random() % 8 == 0) {
          input.Clear();
          model.Clear();
        }
        int* peeked = nullptr;
        ASSERT_EQ(output.Peek(peeked), model.count > 0);
        ASSERT_EQ(peeked, model.count > 0 ? model.slots[model.head] : nullptr);
        ASSERT_EQ(static_cast<std::size_t>(output.GetCount()), model.count);
        ASSERT_EQ(static_cast<std::size_t>(queue.GetCapacity()), model.slots.size());
        ASSERT_EQ(static_cast<std::size_t>(queue.GetHead()), model.head);
        ASSERT_EQ(output.IsEmpty(), model.count == 0);
        ASSERT_EQ(IsSignalled(output.GetEvent()), model.count > 0);
      }
    }
  }
}

TEST(MMutexWinImp, IsTheThreadsThatHoldsItAsOftenAsItTookIt) {
  MMutexWinImp mutex;
  const auto isFree = [&] {
    bool taken = false;
    std::thread other([&] {
      taken = mutex.TryLock();
      if (taken) {
        mutex.Unlock();
      }
    });
    other.join();
    return taken;
  };
  EXPECT_TRUE(mutex.Lock());
  EXPECT_TRUE(mutex.TryLock());
  mutex.Unlock();
  EXPECT_FALSE(isFree());
  mutex.Unlock();
  EXPECT_TRUE(isFree());
}

// In which order, the notifications' test tells.
TEST(MThreadSafeFifo, LosesAndDoublesNothingBetweenManyThreads) {
  const Watchdog watchdog("a queue between many threads");
  constexpr std::size_t kSides = 3;
  const auto each = static_cast<std::size_t>(StressRounds(50000));
  MThreadSafeFifo<int*, int*> queue;
  std::vector<int> items(each * kSides);
  std::vector<std::thread> producers;
  std::vector<std::thread> consumers;
  for (std::size_t side = 0; side < kSides; ++side) {
    producers.emplace_back([&, side] {
      for (std::size_t i = 0; i < each; ++i) {
        queue.Push(&items[side * each + i]);
      }
    });
    consumers.emplace_back([&] {
      for (;;) {
        int* item = nullptr;
        queue.WaitForData(INFINITE);
        if (!queue.Pop(item)) {
          continue;  // another was faster
        }
        if (item == nullptr) {
          return;
        }
        ++*item;
      }
    });
  }
  for (std::thread& producer : producers) {
    producer.join();
  }
  for (std::size_t side = 0; side < kSides; ++side) {
    queue.Push(nullptr);
  }
  for (std::thread& consumer : consumers) {
    consumer.join();
  }

  EXPECT_THAT(items, testing::Each(1));
  EXPECT_FALSE(queue.WaitForData(1));
}

}  // namespace
