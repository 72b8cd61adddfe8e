// SPDX-License-Identifier: MIT
// How the index grows and gives records out again: what a document shows of it only when it is
// large.
#include "tests/xml/XmlKit.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

using namespace Velta::Xml;

TEST(ElementIndex, GrownInAnyStepsItKeepsItsRecords) {
  for (std::uint32_t seed = 0; seed < 8; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    ElementIndex index;
    while (index.NextFree() < 300000) {
      // Not all that there is room for is taken: the last pages may be empty when more is wanted.
      for (std::size_t taken = random() % (index.Room() + 1); taken > 0; --taken) {
        const ElementId element = index.Append();
        index.At(element).length = Length{ToInt(element)};
      }
      const std::size_t wanted = random() % 2 != 0 ? random() % 100000 : 1;
      const std::size_t room = index.Room();
      index.Extend(wanted);
      ASSERT_GE(index.Room(), room + wanted);
    }
    for (std::int32_t number = 1; number < index.NextFree(); ++number) {
      ASSERT_EQ(index.At(ElementId{number}).length, Length{number});
    }
  }
}

TEST(ElementIndex, HasRoomForWhatATextOfItsLengthMostlyHolds) {
  MXmlDocument document;
  const ElementIndex& index = DocumentAccess::StateOf(document).index;
  EXPECT_EQ(index.Room() + 1, 8u);
  const std::size_t aPage = 64 * (ElementIndex::kPageSize - 8);
  for (const std::size_t length : {std::size_t{4096}, aPage, aPage + 64, 2 * aPage + 6400}) {
    ASSERT_TRUE(document.SetText(L"<a>" + std::wstring(length - 7, L'x') + L"</a>"));
    EXPECT_EQ(index.Room() + 2, length / 64 + 8u);
  }
}

TEST(ElementIndex, DocumentsTakenInGetTheRecordsOfThoseRemoved) {
  MXmlDocument document;
  const std::wstring name(2000, L'n');  // whose end tag's length is kept elsewhere
  const std::wstring small = L"<d><" + name + L">x</" + name + L"><b><c/></b></d>";
  const std::wstring large = L"<d>" + small + small + L"</d>";
  ASSERT_TRUE(document.AddElement(L"r"));
  std::int32_t records = 0;
  // The smaller one gets a part of what the larger one had, and leaves the rest.
  for (const std::wstring& added : {large, small, large, small, large}) {
    ASSERT_TRUE(document.AddChildDocument(added) && document.AddElement(L"e") &&
                document.AddChildDocument(small));
    EXPECT_TRUE(IndexIsThatOfItsText(document));
    const std::int32_t taken = DocumentAccess::StateOf(document).index.NextFree();
    EXPECT_EQ(records == 0 ? taken : records, taken);
    records = taken;
    ASSERT_TRUE(document.RemoveElement() && document.FindChildElement() && document.IntoElement());
    ASSERT_TRUE(document.RemoveElement() && document.OutOfElement());
    EXPECT_TRUE(IndexIsThatOfItsText(document));
  }
}
