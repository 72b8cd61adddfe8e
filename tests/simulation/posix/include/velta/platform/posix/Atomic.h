// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <utility>

/// Stands in for the header of this name: other threads may go first before each operation.
///
/// One thread runs at a time, so values are plain, and all orders as strong as can be.
namespace Velta::Simulation {

void BeforeAtomic(const char* operation, const void* word) noexcept;

}  // namespace Velta::Simulation

namespace Velta::Posix {

template <class T>
class Atomic {
 public:
  constexpr Atomic() noexcept = default;
  explicit constexpr Atomic(T initial) noexcept : value_(initial) {}
  Atomic(const Atomic&) = delete;
  Atomic& operator=(const Atomic&) = delete;

  T load(std::memory_order /*order*/) const noexcept {
    Simulation::BeforeAtomic("load", this);
    return value_;
  }
  void store(T next, std::memory_order /*order*/) noexcept {
    Simulation::BeforeAtomic("store", this);
    value_ = next;
  }
  T exchange(T next, std::memory_order /*order*/) noexcept {
    Simulation::BeforeAtomic("exchange", this);
    return std::exchange(value_, next);
  }
  T fetch_and(T mask, std::memory_order /*order*/) noexcept {
    Simulation::BeforeAtomic("and", this);
    return std::exchange(value_, value_ & mask);
  }
  T fetch_or(T mask, std::memory_order /*order*/) noexcept {
    Simulation::BeforeAtomic("or", this);
    return std::exchange(value_, value_ | mask);
  }
  bool compare_exchange_strong(T& expected, T next, std::memory_order /*success*/,
                               std::memory_order /*failure*/ = {}) noexcept {
    Simulation::BeforeAtomic("compare and exchange", this);
    if (value_ != expected) {
      expected = value_;
      return false;
    }
    value_ = next;
    return true;
  }
  bool compare_exchange_weak(T& expected, T next, std::memory_order success,
                             std::memory_order failure = {}) noexcept {
    return compare_exchange_strong(expected, next, success, failure);
  }

  /// A look that nobody can come before.
  [[nodiscard]] T Peek() const noexcept { return value_; }

 private:
  T value_{};
};

}  // namespace Velta::Posix
