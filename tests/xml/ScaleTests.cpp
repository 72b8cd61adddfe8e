// SPDX-License-Identifier: MIT
// What grows with the input and nothing else. A step that cost more than it should would be
// repeated a million times here: the watchdog ends what is not linear.
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"
#include "tests/xml/XmlKit.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

#if defined(VELTA_TEST_SANITIZED)
constexpr std::size_t kMany = 100000;
#else
constexpr std::size_t kMany = 1000000;
#endif
constexpr std::size_t kManyFaults = kMany / 10;

std::wstring Repeat(std::wstring_view text, std::size_t count) {
  std::wstring repeated;
  repeated.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) {
    repeated += text;
  }
  return repeated;
}

}  // namespace

TEST(MXmlDocument, DepthCostsNoStackAndNoTime) {
  const Watchdog watchdog("a million levels");
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(Repeat(L"<a>", kMany) + Repeat(L"</a>", kMany)));
  std::size_t depth = 0;
  while (document.FindElement() && document.IntoElement()) {
    ++depth;
  }
  EXPECT_EQ(depth, kMany);
  ASSERT_TRUE(document.AddElement(L"b", L"deepest"));
  EXPECT_EQ(document.GetOffset(), static_cast<std::int32_t>(3 * kMany + 1));
  while (document.OutOfElement()) {
    --depth;
  }
  EXPECT_EQ(depth, 0u);
  ASSERT_TRUE(document.RemoveElement());
  EXPECT_EQ(document.GetText(), L"");
}

TEST(MXmlDocument, WritingTakingInAndReadingAMillionSiblingsIsLinear) {
  const Watchdog watchdog("a million siblings");
  MXmlDocument document;
  ASSERT_TRUE(document.AddElement(L"r") && document.IntoElement());
  for (std::size_t i = 0; i < kMany; ++i) {
    ASSERT_TRUE(document.AddElement(L"v", L"1") && document.SetAttribute(L"t", L"i") &&
                document.AddNode(MXmlNodeType::kText, L"x"));
  }
  // Without a current element the end of the level is found at once too.
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(document.OutOfElement() && document.IntoElement() && document.AddElement(L"w"));
  }
  MXmlDocument read;
  ASSERT_TRUE(read.AddElement(L"outer") && read.AddChildDocument(document.GetText()) &&
              read.IntoElement() && read.IntoElement());
  std::size_t count = 0;
  while (read.FindElement(L"v") && read.FindNode(MXmlNodeType::kText) != MXmlNodeType::kNone) {
    ++count;
  }
  EXPECT_EQ(count, kMany);
}

TEST(MXmlDocument, AMillionAttributesAreReadOneAfterTheOther) {
  const Watchdog watchdog("a million attributes");
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(L"<" + std::wstring(1 << 16, L'n') + Repeat(L" b='>'", kMany) +
                               L" last='2'/>") &&
              document.FindElement());
  MString name;
  MString value;
  std::size_t count = 0;
  for (std::int32_t cursor = 0; document.GetNextAttribute(&cursor, &name, &value); ++count) {
  }
  EXPECT_EQ(count, kMany + 1);
  EXPECT_EQ(document.GetAttribute(L"last"), L"2");
}

TEST(MXmlDocument, FaultsByTheHundredThousandStayLinear) {
  const Watchdog watchdog("many faults");
  for (const std::wstring& text : {
           Repeat(L"<a>", kManyFaults),
           Repeat(L"</a>", kManyFaults),
           Repeat(L"<a>", kManyFaults) + Repeat(L"</b>", kManyFaults),
           Repeat(L"<a><b></a>", kManyFaults),
           L"<" + std::wstring(1 << 20, L'a') + L">" + Repeat(L"</b>", kManyFaults),
           Repeat(L"<", kManyFaults),
           Repeat(L"<a b='", kManyFaults),
           Repeat(L"<!DOCTYPE [<!ENTITY '", kManyFaults),
       }) {
    SCOPED_TRACE(text.substr(0, 30));
    MXmlDocument document;
    document.SetFlags(MXmlDocument::kIgnoreCase);
    EXPECT_FALSE(document.SetText(text));
    EXPECT_LE(document.GetErrorText().size(), 16400u);
  }
}
