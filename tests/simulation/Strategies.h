// SPDX-License-Identifier: MIT
#pragma once

#include "Scheduler.h"

#include <cstdint>
#include <vector>

namespace Velta::Simulation {

class RandomNumbers {
 public:
  explicit RandomNumbers(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15U + 1) {}
  std::uint64_t Next() noexcept;
  std::uint32_t Below(std::size_t limit) noexcept {
    return static_cast<std::uint32_t>(Next() % limit);
  }

 private:
  std::uint64_t state_;
};

/// Everybody who can go on is equally likely; the clock is so once in eight times.
class RandomWalk final : public Strategy {
 public:
  explicit RandomWalk(std::uint64_t seed) : numbers_(seed) {}
  std::uint32_t Choose(const Choice& choice) noexcept override;

 private:
  RandomNumbers numbers_;
};

/// Random priorities: the highest that can go on does. At `depth` - 1 random steps whoever runs
/// falls below all others; finds every fault of that depth with a known probability.
class Priorities final : public Strategy {
 public:
  Priorities(std::uint64_t seed, std::uint32_t depth);
  std::uint32_t Choose(const Choice& choice) noexcept override;
  void Demote(std::uint32_t thread) noexcept override { priorities_[thread] = --lowest_; }

 private:
  RandomNumbers numbers_;
  std::vector<std::uint32_t> changePoints_;
  std::vector<std::uint64_t> priorities_;
  std::uint64_t lowest_ = 1'000'000;  // the next priority below all others
};

/// A schedule is what differs from the default: to go on, else the lowest thread. Counted by the
/// thread's own decisions, a deviation keeps its meaning when others are left out.
struct Deviation {
  std::uint32_t thread;
  std::uint32_t decision;
  std::uint32_t chosen;
};

class Guided final : public Strategy {
 public:
  explicit Guided(const std::vector<Deviation>& deviations) : deviations_(deviations) {}
  std::uint32_t Choose(const Choice& choice) noexcept override;

 private:
  const std::vector<Deviation>& deviations_;
};

/// Every schedule with at most so many preemptions, one after another: a preemption takes the
/// turn of a thread that can go on, or lets time pass while any can.
class Exhaustive final : public Strategy {
 public:
  explicit Exhaustive(std::uint32_t preemptions);
  std::uint32_t Choose(const Choice& choice) noexcept override;
  /// To be called between two runs. @return false when there are no more schedules
  [[nodiscard]] bool Next() noexcept;

 private:
  struct Branch {
    std::uint32_t index;        // of the option taken
    std::uint32_t count;        // of the options
    std::uint32_t preemptions;  // before this one
    bool mayStay;               // all but the first cost a preemption
    bool endsWithClock;         // the last costs one
  };
  [[nodiscard]] static std::uint32_t Cost(const Branch& branch, std::uint32_t index) noexcept;

  std::uint32_t bound_;
  std::vector<Branch> branches_;
  std::size_t position_ = 0;  // in the run in progress
};

}  // namespace Velta::Simulation
