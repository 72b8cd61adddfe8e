// SPDX-License-Identifier: MIT
// What grows with the input and nothing else. A step that cost more than it should would be
// repeated a million times here: the watchdog ends what is not linear.
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"
#include "tests/xml/XmlKit.h"

#include <string>
#include <utility>

using Velta::Xml::DocumentProbe;
using Velta::Xml::ElementIndex;
using Velta::Xml::ElementRecord;

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
  for (std::size_t i = 0; i < count; ++i) repeated += text;
  return repeated;
}

/// Whether the records take no more than 48 bytes for each element and a tenth of all.
testing::AssertionResult IndexIsSmall(const MXmlDocument& document) {
  const ElementIndex& index = DocumentProbe::State(document).index;
  const auto records = static_cast<std::size_t>(index.NextFree());
  const std::size_t bytes = (records + index.Room()) * sizeof(ElementRecord);
  const std::size_t text = document.GetText().size() * sizeof(wchar_t);
  if (bytes <= 48 * records + (text + 48 * records) / 10) return testing::AssertionSuccess();
  return testing::AssertionFailure() << bytes << " bytes for " << records << " records";
}

}  // namespace

TEST(MXmlDocument, DepthCostsNoStackAndNoTime) {
  const Watchdog watchdog("a million levels");
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(Repeat(L"<a>", kMany) + Repeat(L"</a>", kMany)));
  EXPECT_TRUE(IndexIsSmall(document));
  std::size_t depth = 0;
  while (document.FindElement() && document.IntoElement()) ++depth;
  EXPECT_EQ(depth, kMany);
  ASSERT_TRUE(document.AddElement(L"b", L"deepest"));
  EXPECT_EQ(document.GetOffset(), static_cast<std::int32_t>(3 * kMany + 1));
  while (document.OutOfElement()) --depth;
  EXPECT_EQ(depth, 0u);
  EXPECT_EQ(document.GetLength(), static_cast<std::int32_t>(document.GetText().size()));
  EXPECT_EQ(document.GetData(), L"");
  ASSERT_TRUE(document.RemoveElement());
  EXPECT_EQ(document.GetText(), L"");
}

TEST(MXmlDocument, WritingAndReadingAMillionSiblingsIsLinear) {
  const Watchdog watchdog("a million siblings");
  MXmlDocument document;
  ASSERT_TRUE(document.AddElement(L"r"));
  ASSERT_TRUE(document.IntoElement());
  for (std::size_t i = 0; i < kMany; ++i) {
    ASSERT_TRUE(document.AddElement(L"v", L"1"));
    ASSERT_TRUE(document.SetAttribute(L"t", L"i"));
  }
  EXPECT_TRUE(IndexIsSmall(document));
  EXPECT_EQ(document.GetText(), L"<r>\n" + Repeat(L"<v t=\"i\">1</v>\n", kMany) + L"</r>\n");

  // Without a current element the end of the level is found at once too.
  for (int i = 0; i < 1000; ++i) {
    ASSERT_TRUE(document.OutOfElement());
    ASSERT_TRUE(document.IntoElement());
    ASSERT_TRUE(document.AddElement(L"w"));
  }
  MXmlDocument read;
  ASSERT_TRUE(read.SetText(document.GetText()));
  EXPECT_TRUE(IndexIsSmall(read));
  ASSERT_TRUE(read.FindElement());
  ASSERT_TRUE(read.IntoElement());
  std::size_t count = 0;
  MString data;
  while (read.FindElement(L"v")) count += read.GetData(&data) && data == L"1" ? 1u : 0u;
  EXPECT_EQ(count, kMany);
  ASSERT_TRUE(read.OutOfElement());
  ASSERT_TRUE(read.GetData(&data));
  EXPECT_EQ(data.size(), kMany + 1001);
}

TEST(MXmlDocument, AMillionOtherNodesAreWrittenAndFoundInLinearTime) {
  const Watchdog watchdog("a million nodes");
  MXmlDocument document;
  ASSERT_TRUE(document.AddElement(L"r") && document.IntoElement());
  for (std::size_t i = 0; i < kMany / 2; ++i) {
    ASSERT_TRUE(document.AddNode(MXmlNodeType::kText, L"x") &&
                document.AddNode(MXmlNodeType::kComment, L"c"));
  }
  ASSERT_TRUE(document.AddElement(L"end") && document.OutOfElement() && document.IntoElement());
  constexpr MXmlNodeType kBoth = MXmlNodeType::kText | MXmlNodeType::kComment;
  std::size_t count = 0;
  while (document.FindNode(kBoth) != MXmlNodeType::kNone) ++count;
  EXPECT_EQ(count, kMany / 2 * 2);
  EXPECT_TRUE(document.FindElement(L"end"));
}

TEST(MXmlDocument, AMillionAttributesAreReadOneAfterTheOther) {
  const Watchdog watchdog("a million attributes");
  MXmlDocument document;
  const std::wstring name(1 << 16, L'n');
  ASSERT_TRUE(document.SetText(L"<" + name + Repeat(L" b='1'", kMany) + L" last='2'/>"));
  ASSERT_TRUE(document.FindElement());
  MString attribute;
  MString value;
  std::size_t count = 0;
  for (std::int32_t cursor = 0; document.GetNextAttribute(&cursor, &attribute, &value);) ++count;
  EXPECT_EQ(count, kMany + 1);
  EXPECT_EQ(document.GetAttribute(L"last"), L"2");
}

TEST(MXmlDocument, ATextOfAHundredMillionCharactersIsThreeTokens) {
  const Watchdog watchdog("a long tag and a long text");
  const std::size_t length = 100 * kMany;
  const std::size_t tag = length / 4;
  MString text = L"<a b='";
  text.reserve(length);
  text.append(tag - 8, L'>').append(L"'>").append(length - tag - 8, L'x').append(L"<c/></a>");
  MXmlDocument document;
  ASSERT_TRUE(document.SetText(std::move(text)));
  ASSERT_TRUE(document.FindElement());
  EXPECT_EQ(document.GetLength(), static_cast<std::int32_t>(length));
  ASSERT_TRUE(document.IntoElement());
  ASSERT_EQ(document.FindNode(MXmlNodeType::kText), MXmlNodeType::kText);
  EXPECT_EQ(document.GetOffset(), static_cast<std::int32_t>(tag));
  ASSERT_TRUE(document.FindElement(L"c"));
  EXPECT_EQ(document.GetOffset(), static_cast<std::int32_t>(length - 8));
}

TEST(MXmlDocument, FaultsByTheHundredThousandStayLinear) {
  const Watchdog watchdog("many faults");
  std::wstring allDifferent;
  for (std::size_t i = 0; i < kManyFaults; ++i) {
    allDifferent.append(L"<a").append(std::to_wstring(i)).append(1, L'>');
  }
  for (std::size_t i = 0; i < kManyFaults; ++i) {
    allDifferent.append(L"</a").append(std::to_wstring(i)).append(1, L'>');
  }
  const std::wstring texts[] = {
      Repeat(L"<a>", kManyFaults),
      Repeat(L"</a>", kManyFaults),
      Repeat(L"<a>", kManyFaults) + Repeat(L"</b>", kManyFaults),
      Repeat(L"<a></b>", kManyFaults),
      Repeat(L"<a><b></a>", kManyFaults),
      L"<" + std::wstring(1 << 20, L'a') + L">" + Repeat(L"</b>", kManyFaults),
      allDifferent,
      std::wstring(kManyFaults, L'<'),
      Repeat(L"<!--", kManyFaults),
      Repeat(L"<a b='", kManyFaults),
      Repeat(L"<![CDATA[", kManyFaults),
      Repeat(L"<!DOCTYPE ", kManyFaults),
      Repeat(L"<!DOCTYPE [<!ENTITY '", kManyFaults),
      Repeat(L"<a/><!", kManyFaults),
  };
  for (const std::wstring& text : texts) {
    SCOPED_TRACE(Narrow(text.substr(0, 30)));
    for (const std::uint32_t flags : {0u, MXmlDocument::kIgnoreCase}) {
      MXmlDocument document;
      document.SetFlags(flags);
      EXPECT_FALSE(document.SetText(text));
      EXPECT_FALSE(document.GetErrorText().empty());
      EXPECT_LE(document.GetErrorText().size(), 16400u);
    }
  }
}

TEST(MXmlDocument, ASmallDocumentHasASmallIndex) {
  MXmlDocument document;
  const ElementIndex& index = DocumentProbe::State(document).index;
  EXPECT_EQ(index.Room() + 1, 8u);
  ASSERT_TRUE(document.SetText(L"<a>" + std::wstring(4096, L'x') + L"</a>"));
  EXPECT_EQ(index.Room() + 2, (4096 + 7) / 64 + 8u);
}
