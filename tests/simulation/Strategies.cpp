// SPDX-License-Identifier: MIT
#include "Strategies.h"

#include <algorithm>

namespace Velta::Simulation {

std::uint64_t RandomNumbers::Next() noexcept {
  std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
  z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
  z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
  return z ^ (z >> 31U);
}

std::uint32_t RandomWalk::Choose(const Choice& choice) noexcept {
  const std::vector<std::uint32_t>& options = choice.options;
  // Deadlines are far away as programs see it, but any of them may be a slow thread's.
  if (!choice.isNumber && options.back() == kClock && options.size() > 1) {
    return numbers_.Below(8) == 0 ? kClock : options[numbers_.Below(options.size() - 1)];
  }
  return options[numbers_.Below(options.size())];
}

Priorities::Priorities(std::uint64_t seed, std::uint32_t depth)
    : numbers_(seed), priorities_(Record::kMaxThreads) {
  // Runs differ in length: a change point is as likely in the first 16 steps as in the first 256.
  for (std::uint32_t i = 1; i < depth; ++i) {
    changePoints_.push_back(numbers_.Below(std::size_t{16} << numbers_.Below(5)));
  }
  for (std::uint64_t& priority : priorities_) {
    priority = lowest_ + numbers_.Below(lowest_);
  }
}

std::uint32_t Priorities::Choose(const Choice& choice) noexcept {
  if (choice.isNumber) {
    return numbers_.Below(choice.options.size());
  }
  if (std::find(changePoints_.begin(), changePoints_.end(), choice.step) != changePoints_.end()) {
    Demote(choice.thread.number);
  }
  return *std::max_element(choice.options.begin(), choice.options.end(),
                           [&](auto a, auto b) { return priorities_[a] < priorities_[b]; });
}

std::uint32_t Guided::Choose(const Choice& choice) noexcept {
  for (const Deviation& deviation : deviations_) {
    if (deviation.thread == choice.thread.number && deviation.decision == choice.thread.decisions &&
        std::find(choice.options.begin(), choice.options.end(), deviation.chosen) !=
            choice.options.end()) {
      return deviation.chosen;
    }
  }
  return choice.options[0];
}

Exhaustive::Exhaustive(std::uint32_t preemptions) : bound_(preemptions) {
  branches_.reserve(Record::kMaxSteps);  // nothing is allocated in a run whose memory is counted
}

std::uint32_t Exhaustive::Cost(const Branch& branch, std::uint32_t index) noexcept {
  const bool isClock = branch.endsWithClock && index + 1 == branch.count;
  return index != 0 && (branch.mayStay || isClock) ? 1 : 0;
}

std::uint32_t Exhaustive::Choose(const Choice& choice) noexcept {
  const auto count = static_cast<std::uint32_t>(choice.options.size());
  if (count == 1) {
    return choice.options[0];
  }
  if (position_ == branches_.size()) {
    std::uint32_t preemptions = 0;
    if (!branches_.empty()) {
      preemptions = branches_.back().preemptions + Cost(branches_.back(), branches_.back().index);
    }
    branches_.push_back({0, count, preemptions, choice.mayStay,
                         !choice.isNumber && choice.options.back() == kClock});
  }
  return choice.options[branches_[position_++].index];
}

bool Exhaustive::Next() noexcept {
  position_ = 0;
  while (!branches_.empty()) {
    Branch& branch = branches_.back();
    while (++branch.index < branch.count) {
      if (branch.preemptions + Cost(branch, branch.index) <= bound_) {
        return true;
      }
    }
    branches_.pop_back();
  }
  return false;
}

}  // namespace Velta::Simulation
