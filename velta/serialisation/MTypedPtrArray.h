// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MError.h"

#include <algorithm>
#include <cstdint>
#include <new>

// A host's memory checker may have made a macro of it.
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
  /// @param growByCount  how many elements there is room for, at least, after growing
  /// @param factor       as for `SetGrowthFactor`
  explicit MTypedPtrArray(std::int32_t growByCount = 4, float factor = 1.5F) noexcept
      : growBy(growByCount), growthFactor(factor) {}

  // The order of these three is part of the binary interface.

  /// Deletes every element.
  virtual ~MTypedPtrArray() {
    for (std::int32_t i = 0; i < size; ++i) {
      delete elements[i];
    }
    delete[] elements;
  }

  /// By what the capacity is multiplied when it grows; has no effect unless above 1.
  virtual void SetGrowthFactor(float factor) { growthFactor = factor; }

  /// Makes room for at least `requestedCapacity` elements, as `GrownCapacity` says. Never shrinks.
  ///
  /// Errors: an `MException` that holds an `MErrorOutOfMemory`, at the largest capacity and when
  /// there is no memory; the array is then unchanged.
  virtual void Grow(std::int32_t requestedCapacity) {
    const std::int32_t grown =
        GrownCapacity(size, capacity, requestedCapacity, growBy, growthFactor);
    if (grown <= capacity) {
      return;
    }
    T** const moved = new (std::nothrow) T*[static_cast<std::size_t>(grown)];
    if (moved == nullptr) {
      MErrorOutOfMemory::Throw();
    }
    std::copy(elements, elements + size, moved);
    delete[] elements;
    elements = moved;
    capacity = grown;
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

  std::int32_t GetSize() const noexcept { return size; }
  std::int32_t GetCapacity() const noexcept { return capacity; }

  /// The element at `index`, which must be from 0 to below the size. Valid until it is removed.
  const T& GetAt(std::int32_t index) const noexcept { return *elements[index]; }

  /// Appends a copy.
  ///
  /// Errors: as `Grow`, and whatever copying throws; the elements are then unchanged.
  void Add(Argument value) {
    if (size == capacity) {
      // At the largest capacity there is no next one to ask for; `Grow` says so.
      Grow(size == kMaxCapacity ? size : size + 1);
    }
    elements[size] = new T(value);
    ++size;
  }

  /// Deletes the last element; there must be one.
  void RemoveLast() noexcept { delete elements[--size]; }

 private:
  T** elements = nullptr;
  std::int32_t size = 0;
  std::int32_t capacity = 0;
  std::int32_t growBy;
  float growthFactor;
};

#pragma pop_macro("new")
