// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MError.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>

// A host's memory checker may have defined it as a macro.
#pragma push_macro("new")
#undef new

/// A growable array of owned objects, each allocated on its own: what the registry filers keep
/// their group names in. For anything else, prefer a `std::vector`.
///
/// @tparam T         what the array owns
/// @tparam Argument  how one is handed in, such as `const T&`
///
/// Threads: one at a time.
/// Ownership: the array copies what it is given, and deletes its copies.
template <class T, class Argument>
class MTypedPtrArray {
 public:
  static constexpr std::int32_t kMaxCapacity = 0x7FFFFFFF;

  /// An empty array that has not allocated anything.
  ///
  /// @param growBy        for how many more elements there is room, at least, after growing
  /// @param growthFactor  as for `SetGrowthFactor`
  explicit MTypedPtrArray(std::int32_t growBy = 4, float growthFactor = 1.5F) noexcept
      : growBy_(growBy), growthFactor_(growthFactor) {}

  // The order of these three is part of the binary interface.

  /// Deletes every element.
  virtual ~MTypedPtrArray() {
    for (std::int32_t i = 0; i < size_; ++i) {
      delete elements_[i];
    }
    delete[] elements_;
  }

  /// By what the capacity is multiplied when it grows; has no effect unless above 1.
  virtual void SetGrowthFactor(float factor) { growthFactor_ = factor; }

  /// Makes room for at least `requestedCapacity` elements, as `GrownCapacity` says. Never shrinks.
  ///
  /// Errors: an `MException` that holds an `MErrorOutOfMemory`, at the largest capacity and when
  /// there is no memory; the array is then unchanged.
  virtual void Grow(std::int32_t requestedCapacity) {
    const std::int32_t grown =
        GrownCapacity(size_, capacity_, requestedCapacity, growBy_, growthFactor_);
    if (grown <= capacity_) {
      return;
    }
    T** const moved = new (std::nothrow) T*[static_cast<std::size_t>(grown)];
    if (moved == nullptr) {
      MErrorOutOfMemory::Throw();
    }
    std::copy(elements_, elements_ + size_, moved);
    delete[] elements_;
    elements_ = moved;
    capacity_ = grown;
  }

  MTypedPtrArray(const MTypedPtrArray&) = delete;
  MTypedPtrArray& operator=(const MTypedPtrArray&) = delete;

  /// The rule of growth by itself: the larger of `requested` and `size + growBy`, and at least
  /// `capacity * factor`, truncated, if the factor is above 1; at most `kMaxCapacity`.
  ///
  /// Errors: an `MException` that holds an `MErrorOutOfMemory` when `capacity` is `kMaxCapacity`.
  static std::int32_t GrownCapacity(std::int32_t size, std::int32_t capacity,
                                    std::int32_t requested, std::int32_t growBy, float factor) {
    if (capacity == kMaxCapacity) {
      MErrorOutOfMemory::Throw();
    }
    std::int64_t grown = (std::max<std::int64_t>)(requested, std::int64_t{size} + growBy);
    if (factor > 1.0F) {
      // Compared before it is converted: the product may lie beyond every integer.
      const double scaled = static_cast<double>(capacity) * static_cast<double>(factor);
      if (scaled >= static_cast<double>(kMaxCapacity)) {
        return kMaxCapacity;
      }
      if (scaled >= 1.0) {
        grown = (std::max)(grown, static_cast<std::int64_t>(scaled));
      }
    }
    return static_cast<std::int32_t>((std::min<std::int64_t>)(grown, kMaxCapacity));
  }

  std::int32_t GetSize() const noexcept { return size_; }
  std::int32_t GetCapacity() const noexcept { return capacity_; }

  /// The element at `index`, which must be from 0 to below the size. Valid until it is removed.
  const T& GetAt(std::int32_t index) const noexcept { return *elements_[index]; }

  /// Appends a copy.
  ///
  /// Errors: as `Grow`, and whatever copying throws; the elements are then unchanged.
  void Add(Argument value) {
    if (size_ == capacity_) {
      // At the largest capacity there is no next one to ask for; `Grow` says so.
      Grow(size_ == kMaxCapacity ? size_ : size_ + 1);
    }
    elements_[size_] = new T(value);
    ++size_;
  }

  /// Deletes the last element; there must be one.
  void RemoveLast() noexcept { delete elements_[--size_]; }

 private:
  T** elements_ = nullptr;
  std::int32_t size_ = 0;
  std::int32_t capacity_ = 0;
  std::int32_t growBy_;
  float growthFactor_;
};

#pragma pop_macro("new")
