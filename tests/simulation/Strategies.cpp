// SPDX-License-Identifier: MIT
#include "Scheduler.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace Velta::Simulation {

namespace {

class RandomWalk final : public Strategy {
 public:
  bool Begin(std::uint64_t seed) override {
    numbers_.seed(seed);
    return true;
  }
  std::uint32_t Choose(const Choice& choice) noexcept override {
    const std::vector<std::uint32_t>& options = choice.options;
    // Deadlines are far away as programs see it, but any of them may be a slow thread's.
    if (!choice.isNumber && options.back() == kClock && options.size() > 1) {
      return numbers_() % 8 == 0 ? kClock : options[numbers_() % (options.size() - 1)];
    }
    return options[numbers_() % options.size()];
  }

 private:
  std::mt19937_64 numbers_;
};

class Priorities final : public Strategy {
 public:
  bool Begin(std::uint64_t seed) override {
    numbers_.seed(seed);
    // Runs differ in length: a change point is as likely in the first 16 steps as in the first 256.
    for (std::uint64_t& point : changePoints_) {
      const std::uint64_t length = std::uint64_t{16} << numbers_() % 5;
      point = numbers_() % length;
    }
    lowest_ = kMiddle;
    for (std::uint64_t& priority : priorities_) {
      priority = kMiddle + numbers_() % kMiddle;
    }
    return true;
  }
  std::uint32_t Choose(const Choice& choice) noexcept override {
    const std::vector<std::uint32_t>& options = choice.options;
    if (choice.isNumber) {
      return options[numbers_() % options.size()];
    }
    if (std::count(std::begin(changePoints_), std::end(changePoints_), choice.step) != 0) {
      Demote(choice.thread.number);
    }
    return *std::max_element(options.begin(), options.end(),
                             [&](auto a, auto b) { return priorities_[a] < priorities_[b]; });
  }
  void Demote(std::uint32_t thread) noexcept override { priorities_[thread] = --lowest_; }
  [[nodiscard]] bool IsFine() const noexcept override { return true; }  // costs this way least

 private:
  static constexpr std::uint64_t kMiddle = 1'000'000;  // random ones are not below

  std::mt19937_64 numbers_;
  std::uint64_t changePoints_[2]{};
  std::uint64_t priorities_[kMaxThreads]{};
  std::uint64_t lowest_ = kMiddle;  // below all others
};

class Guided final : public Strategy {
 public:
  explicit Guided(std::vector<Deviation> deviations) : deviations_(std::move(deviations)) {}
  bool Begin(std::uint64_t /*seed*/) override { return std::exchange(isFirst_, false); }
  std::uint32_t Choose(const Choice& choice) noexcept override {
    const std::vector<std::uint32_t>& options = choice.options;
    for (const Deviation& deviation : deviations_) {
      if (deviation.thread == choice.thread.number &&
          deviation.decision == choice.thread.decisions &&
          std::find(options.begin(), options.end(), deviation.chosen) != options.end()) {
        return deviation.chosen;
      }
    }
    return options[0];
  }
  [[nodiscard]] bool IsFine() const noexcept override { return true; }  // as it may have been

 private:
  std::vector<Deviation> deviations_;
  bool isFirst_ = true;
};

class Exhaustive final : public Strategy {
 public:
  explicit Exhaustive(std::uint64_t preemptions) : bound_(preemptions) {
    branches_.reserve(Record::kMaxSteps);  // nothing is allocated in a run whose memory is watched
  }
  bool Begin(std::uint64_t /*seed*/) override {
    position_ = 0;
    while (!branches_.empty()) {
      Branch& branch = branches_.back();
      while (++branch.index < branch.count) {
        if (branch.PreemptionsAfter() <= bound_) {
          return true;
        }
      }
      branches_.pop_back();
    }
    return std::exchange(isFirst_, false);
  }
  std::uint32_t Choose(const Choice& choice) noexcept override {
    const auto count = static_cast<std::uint32_t>(choice.options.size());
    if (count == 1) {
      return choice.options[0];
    }
    if (position_ == branches_.size()) {
      const std::uint64_t before = branches_.empty() ? 0 : branches_.back().PreemptionsAfter();
      branches_.push_back(
          {0, count, before, choice.mayStay, !choice.isNumber && choice.options.back() == kClock});
    }
    return choice.options[branches_[position_++].index];
  }

 private:
  struct Branch {
    std::uint32_t index;        // of the option taken
    std::uint32_t count;        // of the options
    std::uint64_t preemptions;  // before this one
    bool mayStay;               // all but the first cost a preemption
    bool endsWithClock;         // the last costs one

    [[nodiscard]] std::uint64_t PreemptionsAfter() const noexcept {
      const bool isClock = endsWithClock && index + 1 == count;
      return preemptions + (index != 0 && (mayStay || isClock) ? 1 : 0);
    }
  };

  std::uint64_t bound_;
  std::vector<Branch> branches_;
  std::size_t position_ = 0;  // in the run in progress
  bool isFirst_ = true;
};

}  // namespace

std::unique_ptr<Strategy> MakeRandomWalk() { return std::make_unique<RandomWalk>(); }
std::unique_ptr<Strategy> MakePriorities() { return std::make_unique<Priorities>(); }
std::unique_ptr<Strategy> MakeExhaustive(std::uint64_t preemptions) {
  return std::make_unique<Exhaustive>(preemptions);
}
std::unique_ptr<Strategy> MakeGuided(std::vector<Deviation> deviations) {
  return std::make_unique<Guided>(std::move(deviations));
}

}  // namespace Velta::Simulation
