// SPDX-License-Identifier: MIT
#include "velta/errors/MException.h"
#include "velta/serialisation/MTypedPtrArray.h"
#include "velta/text/MString.h"

#include <cstdint>
#include <limits>
#include <memory>

#include <gtest/gtest.h>

namespace {

using Array = MTypedPtrArray<MString, const MString&>;

constexpr std::int32_t kMost = Array::kMaxCapacity;

TEST(MTypedPtrArray, TheCapacityGrowsByTheRule) {
  const float infinity = std::numeric_limits<float>::infinity();
  const struct {
    std::int32_t size, capacity, requested, growBy;
    float factor;
    std::int32_t grown;
  } cases[] = {{0, 0, 1, 4, 1.0F, 4},  // size and step
               {4, 4, 5, 4, 1.0F, 8},
               {2, 10, 11, 4, 1.0F, 11},  // what is asked for
               {100, 100, 500, 4, 2.0F, 500},
               {100, 100, 101, 4, 1.5F, 150},  // by the factor
               {7, 7, 8, 0, 1.25F, 8},         // 8.75, truncated
               {4, 4, 5, 4, 0.5F, 8},          // no factor of growth
               {4, 4, 5, 4, infinity, kMost},
               {0x60000000, 0x60000000, 0x60000001, 4, 1.5F, kMost},
               {kMost - 1, kMost - 1, kMost, 0, 1.0F, kMost}};
  for (const auto& sample : cases) {
    EXPECT_EQ(Array::GrownCapacity(sample.size, sample.capacity, sample.requested, sample.growBy,
                                   sample.factor),
              sample.grown)
        << sample.size << " of " << sample.capacity << ", asked for " << sample.requested
        << ", step " << sample.growBy << ", factor " << sample.factor;
  }
  EXPECT_THROW(Array::GrownCapacity(kMost, kMost, kMost, 4, 1.5F), MException);
}

TEST(MTypedPtrArray, GrowsThroughItsVirtualOperationsAndNeverShrinks) {
  Array array(2, 1.0F);
  EXPECT_EQ(array.GetCapacity(), 0);
  array.Add(L"a");
  EXPECT_EQ(array.GetCapacity(), 2);
  array.Grow(10);
  EXPECT_EQ(array.GetCapacity(), 10);
  array.Grow(1);
  EXPECT_EQ(array.GetCapacity(), 10);
  array.SetGrowthFactor(3.0F);
  array.Grow(11);
  EXPECT_EQ(array.GetCapacity(), 30);
  EXPECT_EQ(array.GetAt(0), L"a");
}

TEST(MTypedPtrArray, OwnsItsElements) {
  const auto element = std::make_shared<int>(0);
  {
    MTypedPtrArray<std::shared_ptr<int>, const std::shared_ptr<int>&> array(1, 1.0F);
    for (int i = 0; i < 10; ++i) {
      array.Add(element);
    }
    EXPECT_EQ(element.use_count(), 11);
    array.RemoveLast();
    EXPECT_EQ(element.use_count(), 10);
    EXPECT_EQ(array.GetSize(), 9);
  }
  EXPECT_EQ(element.use_count(), 1);
}

}  // namespace
