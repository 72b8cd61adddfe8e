// SPDX-License-Identifier: MIT
#include "velta/errors/MException.h"
#include "velta/serialisation/MTypedPtrArray.h"

#include <cstdint>
#include <limits>
#include <memory>

#include <gtest/gtest.h>

namespace {

using Array = MTypedPtrArray<std::shared_ptr<int>, const std::shared_ptr<int>&>;

constexpr std::int32_t kMost = Array::kMaxCapacity;

TEST(MTypedPtrArray, TheCapacityGrowsByTheRule) {
  const struct {
    std::int32_t size, capacity, requested, growBy;
    float factor;
    std::int32_t grown;
  } cases[] = {{4, 4, 5, 4, 1.0F, 8},          // size and step
               {2, 10, 11, 4, 1.0F, 11},       // what is asked for
               {100, 100, 101, 4, 1.5F, 150},  // by the factor
               {7, 7, 8, 0, 1.25F, 8},         // 8.75, truncated
               {4, 4, 5, 4, 0.5F, 8},          // no factor of growth
               {4, 4, 5, 4, std::numeric_limits<float>::infinity(), kMost},
               {0x60000000, 0x60000000, 0x60000001, 4, 1.5F, kMost},
               {kMost - 1, kMost - 1, kMost, 4, 1.0F, kMost}};
  for (const auto& [size, capacity, requested, growBy, factor, grown] : cases) {
    EXPECT_EQ(Array::GrownCapacity(size, capacity, requested, growBy, factor), grown)
        << size << " of " << capacity << ", factor " << factor;
  }
  EXPECT_THROW(Array::GrownCapacity(kMost, kMost, kMost, 4, 1.5F), MException);
}

TEST(MTypedPtrArray, OwnsItsElementsAndGrowsAroundThem) {
  const auto element = std::make_shared<int>(0);
  {
    Array array(2, 1.0F);
    EXPECT_EQ(array.GetCapacity(), 0);
    array.Add(element);
    EXPECT_EQ(array.GetCapacity(), 2);
    array.Grow(10);
    array.Grow(1);
    EXPECT_EQ(array.GetCapacity(), 10) << "never shrinks";
    array.SetGrowthFactor(3.0F);
    array.Grow(11);
    EXPECT_EQ(array.GetCapacity(), 30);
    array.Add(element);
    EXPECT_EQ(array.GetAt(0), element);
    EXPECT_EQ(element.use_count(), 3);
    array.RemoveLast();
    EXPECT_EQ(array.GetSize(), 1);
    EXPECT_EQ(element.use_count(), 2);
  }
  EXPECT_EQ(element.use_count(), 1);
}

}  // namespace
