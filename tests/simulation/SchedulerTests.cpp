// SPDX-License-Identifier: MIT
// The scheduler by itself: this program is linked without the library.
#include "Scheduler.h"

#include "Strategies.h"

#include <array>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

using namespace Velta::Simulation;

namespace {

std::string order;

void TwoSteps(void* letter) {
  for (int i = 0; i < 2; ++i) {
    Scheduler::Current()->Point("step");
    order += *static_cast<const char*>(letter);
  }
}

}  // namespace

TEST(Exhaustive, SeesEveryOrderThatSoManyPreemptionsMake) {
  const auto record = std::make_unique<Record>();
  std::array<char, 3> letters{'a', 'b', 'c'};
  const auto ordersOf = [&](std::size_t threads, std::uint32_t preemptions) {
    std::set<std::string> orders;
    Exhaustive exhaustive(preemptions);
    do {
      order.clear();
      Scheduler scheduler(exhaustive, *record, false);
      scheduler.Run([&] {
        for (std::size_t i = 0; i < threads; ++i) {
          scheduler.Spawn("actor", {&TwoSteps, [](void*) {}, &letters[i]});
        }
      });
      orders.insert(order);
    } while (exhaustive.Next());
    return orders.size();
  };

  EXPECT_EQ(ordersOf(2, 0), 2);  // aabb, bbaa
  EXPECT_EQ(ordersOf(2, 1), 4);  // abba, baab
  EXPECT_EQ(ordersOf(2, 2), 6);  // abab, baba: all there are
  EXPECT_EQ(ordersOf(3, 0), 6);
}
