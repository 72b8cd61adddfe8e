// SPDX-License-Identifier: MIT
#include "tests/support/StressScale.h"
#include "tests/support/ThreadKit.h"
#include "velta/threads/MThreadSafeFifo.h"

#include <array>
#include <cstdint>
#include <deque>
#include <random>
#include <thread>

#include <gtest/gtest.h>

namespace {

// Between threads, the simulation and the notifications' tests use it.
TEST(MThreadSafeFifo, BehavesAsADequeAndGrowsByItsStepForAnySequence) {
  std::array<int, 100> items{};
  for (const std::int32_t step : {1, 2, 3, 7, 64}) {
    SCOPED_TRACE(testing::Message() << "step " << step);
    std::mt19937 random(1);
    MThreadSafeFifo<int*, int*> queue(step);
    MThreadSafeFifoInput<int*, int*>& input = queue;
    MThreadSafeFifoOutput<int*, int*>& output = queue;
    std::deque<int*> model;
    std::int32_t capacity = 0;
    std::int32_t head = 0;
    for (int i = 0; i < StressRounds(20000); ++i) {
      const auto choice = random() % 1000;
      if (choice < 510) {
        int* const item = &items[random() % items.size()];
        if (static_cast<std::int32_t>(model.size()) == capacity) {
          capacity += step;
          head = 0;
        }
        input.Push(item);
        model.push_back(item);
      } else if (choice < 998) {
        int untouched = 0;
        int* out = &untouched;
        ASSERT_EQ(output.Pop(out), !model.empty());
        ASSERT_EQ(out, model.empty() ? &untouched : model.front());
        if (!model.empty()) {
          model.pop_front();
          head = (head + 1) % capacity;
        }
      } else {
        input.Clear();
        model.clear();
        capacity = head = 0;
      }
      int* peeked = nullptr;
      ASSERT_EQ(output.Peek(peeked), !model.empty());
      ASSERT_EQ(peeked, model.empty() ? nullptr : model.front());
      ASSERT_EQ(output.GetCount(), static_cast<std::int32_t>(model.size()));
      ASSERT_EQ(queue.GetCapacity(), capacity);
      ASSERT_EQ(queue.GetHead(), head);
      ASSERT_EQ(output.IsEmpty(), model.empty());
      ASSERT_EQ(output.WaitForData(0), !model.empty());
      ASSERT_EQ(IsSignalled(output.GetEvent()), !model.empty());
    }
  }
}

TEST(MMutexWinImp, IsTheThreadsThatHoldsItAsOftenAsItTookIt) {
  MMutexWinImp mutex;
  const auto isFree = [&] {
    bool taken = false;
    std::thread([&] {
      taken = mutex.TryLock();
      if (taken) {
        mutex.Unlock();
      }
    }).join();
    return taken;
  };
  EXPECT_TRUE(mutex.Lock());
  EXPECT_TRUE(mutex.TryLock());
  mutex.Unlock();
  EXPECT_FALSE(isFree());
  mutex.Unlock();
  EXPECT_TRUE(isFree());
}

}  // namespace
