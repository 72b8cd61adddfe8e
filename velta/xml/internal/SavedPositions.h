// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/internal/Measures.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Velta::Xml {

/// What of a position an entry names.
enum class SavedLevel : std::uint8_t { kParent, kCurrent, kChild };

struct SavedPosition {
  std::wstring name;
  ElementId element;  // kDocument only as a parent: the top of the document
  SavedLevel level;
};

/// Positions by name, in a map of seven buckets.
class SavedPositions {
 public:
  /// Adds or replaces an entry. Unchanged when it throws.
  void Save(std::wstring_view name, ElementId element, SavedLevel level) {
    for (SavedPosition& entry : BucketOf(name)) {
      if (entry.name == name) {
        entry.element = element;
        entry.level = level;
        return;
      }
    }
    BucketOf(name).push_back({std::wstring(name), element, level});
  }

  [[nodiscard]] const SavedPosition* Find(std::wstring_view name) noexcept {
    for (const SavedPosition& entry : BucketOf(name)) {
      if (entry.name == name) {
        return &entry;
      }
    }
    return nullptr;
  }

  void Clear() noexcept {
    for (Bucket& bucket : buckets_) {
      bucket.clear();
    }
  }

  template <typename Action>
  void ForEach(Action action) noexcept {
    for (Bucket& bucket : buckets_) {
      for (SavedPosition& entry : bucket) {
        action(entry);
      }
    }
  }

  template <typename Predicate>
  void DropIf(Predicate predicate) noexcept {
    for (Bucket& bucket : buckets_) {
      std::erase_if(bucket, predicate);
    }
  }

 private:
  using Bucket = std::vector<SavedPosition>;

  [[nodiscard]] Bucket& BucketOf(std::wstring_view name) noexcept {
    std::uint32_t sum = 0;
    for (const wchar_t unit : name) {
      sum += static_cast<std::uint32_t>(unit);
    }
    return buckets_[sum % kBuckets];
  }

  static constexpr std::size_t kBuckets = 7;
  std::array<Bucket, kBuckets> buckets_;
};

}  // namespace Velta::Xml
