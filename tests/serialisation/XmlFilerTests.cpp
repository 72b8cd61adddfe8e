// SPDX-License-Identifier: MIT
#include "tests/serialisation/RoundTrip.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

// What an operation's type might not hold does not compile, by the interface and by its filers.
template <class Filer, class Value>
concept TakesInt = requires(Filer& filer, Value value) { filer.WriteInt(L"v", value); };
template <class Filer, class Value>
concept TakesUnsigned =
    requires(Filer& filer, Value value) { filer.WriteUnsignedInt(L"v", value); };
template <class Filer, class Value>
concept TakesBool = requires(Filer& filer, Value value) { filer.WriteBool(L"v", value); };
template <class Filer, class Value>
concept TakesDouble = requires(Filer& filer, Value value) { filer.WriteDouble(L"v", value); };
template <class Filer>
constexpr bool kKeepsValues =
    TakesInt<Filer, std::int16_t> && !TakesInt<Filer, std::int64_t> &&
    !TakesInt<Filer, std::uint32_t> && !TakesInt<Filer, double> && !TakesInt<Filer, bool> &&
    TakesUnsigned<Filer, std::uint8_t> && !TakesUnsigned<Filer, int> && TakesBool<Filer, bool> &&
    !TakesBool<Filer, const char*> && !TakesBool<Filer, int> && TakesDouble<Filer, int> &&
    TakesDouble<Filer, float> && !TakesDouble<Filer, std::int64_t>;
template <class Filer, class Default>
concept ReadsUnsigned = requires(Filer& filer, std::uint32_t* value, Default otherwise) {
  filer.ReadUnsignedInt(L"v", value, otherwise);
};
template <class Filer>
constexpr bool kKeepsDefaults =
    ReadsUnsigned<Filer, std::uint16_t> && !ReadsUnsigned<Filer, int> &&
    !ReadsUnsigned<Filer, std::uint64_t> && !ReadsUnsigned<Filer, double>;
static_assert(kKeepsDefaults<IInFilerTagged> && kKeepsDefaults<MInFilerTaggedXml> &&
              kKeepsDefaults<IInFilerTaggedRegistry>);
static_assert(kKeepsValues<IOutFilerTagged> && kKeepsValues<MOutFilerTaggedXml> &&
              kKeepsValues<IOutFilerTaggedRegistry>);

MString TextOf(const MOutFilerTaggedXml& filer) {
  MString text;
  EXPECT_TRUE(filer.GetText(&text));
  return text;
}

MInFilerTaggedXml ReaderOf(const MString& text) { return MInFilerTaggedXml(text, L"Root", L""); }

TEST(MOutFilerTaggedXml, WritesOneElementALineWithTheNameOfItsType) {
  MOutFilerTaggedXml filer(L"Settings", L"urn:settings");
  EXPECT_TRUE(
      filer.WriteInt(L"Count", 42) && filer.BeginGroup(L"Panel") &&
      filer.WriteBool(L"Visible", true) && filer.WriteDouble(L"Scale", 1.5) && filer.EndGroup() &&
      filer.WriteString(L"Title", L"A & B") && filer.WriteChar(L"c", '<') &&
      filer.WriteFloat(L"f", 0.1f) && filer.WriteByte(L"y", std::uint8_t{255}) &&
      filer.WriteUnsignedShort(L"us", std::uint16_t{65535}) &&
      filer.WriteShort(L"s", std::int16_t{-32768}) && filer.WriteUnsignedInt(L"ui", 4294967295u) &&
      filer.WriteString(L"e", L"") && filer.BeginGroup(L"g") && filer.EndGroup());
  EXPECT_EQ(TextOf(filer),
            L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            L"<Settings xmlns=\"urn:settings\">\n"
            L"<Count type=\"int\">42</Count>\n"
            L"<Panel>\n"
            L"<Visible type=\"bool\">1</Visible>\n"
            L"<Scale type=\"float\">1.500000000000000e+00</Scale>\n"
            L"</Panel>\n"
            L"<Title type=\"string\">A &amp; B</Title>\n"
            L"<c type=\"char\">&lt;</c>\n"
            L"<f type=\"float\">1.00000001e-01</f>\n"
            L"<y type=\"byte\">255</y>\n"
            L"<us type=\"uint\">65535</us>\n"
            L"<s type=\"int\">-32768</s>\n"
            L"<ui type=\"uint\">4294967295</ui>\n"
            L"<e type=\"string\"/>\n"
            L"<g/>\n"
            L"</Settings>\n");
}

TEST(XmlFilers, EveryValueComesBackAsFarAsItsTextCarriesIt) {
  MOutFilerTaggedXml writer(L"Root", L"");
  const RoundTrip trip(writer, 15, 8, StressRounds(2000));
  MInFilerTaggedXml reader = ReaderOf(TextOf(writer));
  trip.ExpectBack(reader);
}

// Work that grew with the square of the input would not end before the watchdog does.
TEST(XmlFilers, WhatAnInputCostsGrowsWithItsSize) {
  const Watchdog watchdog("large inputs");
  constexpr int kMany = StressRounds(500000);
  const auto repeat = [](std::wstring_view text) {
    MString repeated;
    for (int i = 0; i < kMany; ++i) {
      repeated += text;
    }
    return repeated;
  };
  MInFilerTaggedXml reader =
      ReaderOf(L"<Root>" + repeat(L"<v/><g/>") + repeat(L"<g>") + repeat(L"<v type='int'>1</v>") +
               repeat(L"</g>") + L"</Root>");
  // Groups next to each other, each after the one read before, then groups in each other.
  for (int i = 0; i < kMany; ++i) {
    ASSERT_TRUE(reader.BeginGroup(L"g") && reader.EndGroup());
  }
  for (int i = 0; i < kMany; ++i) {
    ASSERT_TRUE(reader.BeginGroup(L"g"));
  }
  std::int32_t value = 0;
  for (int i = 0; i < kMany; ++i) {
    ASSERT_FALSE(reader.ReadInt(L"w", &value, 0));
    ASSERT_TRUE(reader.ReadInt(L"v", &value, 0));
  }
  for (int i = 0; i < kMany; ++i) {
    ASSERT_TRUE(reader.EndGroup());
  }
}

TEST(MInFilerTaggedXml, AFailedReadGivesTheDefaultAndConsumesNothing) {
  MInFilerTaggedXml reader = ReaderOf(
      L"<Root><Count type='int'>-1</Count><Scale type='float'>.5</Scale><Big "
      L"type='uint'>70000</Big>"
      L"<Last type='string'>x</Last></Root>");
  std::uint32_t wrongType = 0;
  EXPECT_FALSE(reader.ReadUnsignedInt(L"Count", &wrongType, 5u));
  EXPECT_EQ(wrongType, 5u);
  std::int32_t count = 0;
  EXPECT_FALSE(reader.ReadInt(L"Missing", &count, 6));
  double scale = 0.0;
  EXPECT_TRUE(reader.ReadInt(L"Count", &count, 0) && reader.ReadDouble(L"Scale", &scale, 0.0));
  EXPECT_EQ(count, -1);
  EXPECT_EQ(scale, 0.5);
  std::uint16_t tooSmall = 0;
  EXPECT_FALSE(reader.ReadUnsignedShort(L"Big", &tooSmall, std::uint16_t{9})) << "does not fit";
  EXPECT_EQ(tooSmall, 9);
  MString passedOver;
  EXPECT_FALSE(reader.ReadString(L"Last", &passedOver, L"default")) << "values come in order";
  EXPECT_FALSE(reader.ReadInt(L"Count", &count, 7)) << "what was read is consumed";
}

TEST(MInFilerTaggedXml, NumbersAreExtractedAsByAStream) {
  const struct {
    const wchar_t* data;
    bool read;
    std::int32_t value;  // the default where nothing is read
  } cases[] = {{L"12abc", true, 12},       {L" \n-7", true, -7}, {L"+7", true, 7},
               {L"", false, 99},           {L"abc", false, 99},  {L"- 7", false, 99},
               {L"2147483648", false, 99}, {L"0x10", true, 0},   {L"007", true, 7}};
  for (const auto& [data, read, expected] : cases) {
    const MString text = data;
    const auto readerOf = [&](const wchar_t* type) {
      return ReaderOf(MString(L"<Root><v type='") + type + L"'>" + text + L"</v></Root>");
    };
    std::int32_t number = 0;
    bool isSet = false;
    EXPECT_EQ(readerOf(L"int").ReadInt(L"v", &number, 99), read) << text;
    EXPECT_EQ(number, expected) << text;
    EXPECT_EQ(readerOf(L"bool").ReadBool(L"v", &isSet, true), read) << text;
    EXPECT_EQ(isSet, expected != 0) << text << ": anything but zero";
  }
}

TEST(MInFilerTaggedXml, GroupsAreFoundPastOthersAndPastValuesOfTheirName) {
  MInFilerTaggedXml reader = ReaderOf(
      L"<Root><g type='int'>1</g><first/><g><deep><v type='int'>3</v></deep></g>"
      L"<after type='int'>4</after></Root>");
  std::int32_t number = 0;
  EXPECT_FALSE(reader.BeginGroup(L"missing"));
  EXPECT_TRUE(reader.BeginGroup(L"g") && reader.BeginGroup(L"deep") &&
              reader.ReadInt(L"v", &number, 0) && reader.EndGroup() && reader.EndGroup());
  EXPECT_EQ(number, 3);
  EXPECT_FALSE(reader.EndGroup()) << "the root is not a group";
  EXPECT_TRUE(reader.ReadInt(L"after", &number, 0));
  EXPECT_EQ(number, 4);
}

TEST(MInFilerTaggedXml, ADocumentThatIsNotTheExpectedOneIsDropped) {
  using Kind = MInFilerTaggedXml::FaultKind;
  const MString good = L"\n <Root xmlns=\"urn:a\"><n type=\"int\">1</n></Root>";
  const struct {
    MString text;
    const wchar_t* root;
    const wchar_t* nameSpace;
    Kind kind;
    const wchar_t* message;
    std::array<std::int32_t, 3> place;  // offset, line, column
  } cases[] = {
      {good, L"Root", L"", Kind::kNone, L"", {-1, 0, 0}},
      {good, L"Root", L"urn:a", Kind::kNone, L"", {-1, 0, 0}},
      {good, L"Root", L"urn:b", Kind::kNamespace, L"Namespace is not 'urn:b'", {2, 2, 2}},
      {good, L"root", L"", Kind::kRoot, L"Root element is not 'root'", {2, 2, 2}},
      {good, L"", L"", Kind::kRoot, L"Root element is not ''", {2, 2, 2}},
      {L"<Root/>", L"Root", L"urn:a", Kind::kNamespace, L"Namespace is not 'urn:a'", {0, 1, 1}},
      {good + L"<x/>", L"Root", L"", Kind::kText, L"Root element has sibling", {-1, 0, 0}},
      {L"\n<n>", L"n", L"a", Kind::kText, L"Element 'n' at offset 1 not ended", {1, 2, 1}}};
  for (const auto& [text, root, nameSpace, kind, message, place] : cases) {
    MInFilerTaggedXml reader(text, root, nameSpace);
    const MInFilerTaggedXml::Fault& fault = reader.GetFault();
    EXPECT_EQ(fault.kind, kind);
    EXPECT_EQ(fault.message, message);
    EXPECT_EQ((std::array{fault.offset, fault.line, fault.column}), place);
    EXPECT_EQ(reader.HasDocument(), kind == Kind::kNone);
    std::int32_t number = 0;
    EXPECT_EQ(reader.ReadInt(L"n", &number, 5), kind == Kind::kNone);
    EXPECT_EQ(number, kind == Kind::kNone ? 1 : 5);
    EXPECT_FALSE(reader.BeginGroup(L"g") || reader.EndGroup());
  }
  MOutFilerTaggedXml writer(L"no name", L"");
  MString text;
  EXPECT_FALSE(writer.WriteInt(L"n", 1) || writer.BeginGroup(L"g") || writer.GetText(&text));
}

TEST(XmlFilers, AnEmbeddedDocumentIsKeptWhole) {
  const MString embedded =
      L"<?xml version=\"1.0\"?><!-- left out --><inner a=\"1\"><x/>text</inner>";
  MOutFilerTaggedXml filer(L"Root", L"");
  EXPECT_TRUE(filer.WriteEmbeddedDocument(L"doc", embedded) && filer.BeginGroup(L"empty"));
  EXPECT_FALSE(filer.WriteEmbeddedDocument(L"bad", L"<a>") ||
               filer.WriteEmbeddedDocument(L"no name", embedded));
  EXPECT_TRUE(filer.EndGroup() && filer.WriteInt(L"after", 1));
  EXPECT_FALSE(filer.EndGroup()) << "the root is not a group";
  const MString text = TextOf(filer);
  EXPECT_THAT(text, testing::HasSubstr(L"</doc>\n<empty/>\n<after"));

  MInFilerTaggedXml reader = ReaderOf(text);
  MString read = L"old";
  EXPECT_FALSE(reader.ReadEmbeddedDocument(L"missing", &read));
  EXPECT_EQ(read, L"");
  ASSERT_TRUE(reader.ReadEmbeddedDocument(L"doc", &read));
  std::int32_t after = 0;
  EXPECT_TRUE(reader.BeginGroup(L"empty") && reader.EndGroup() &&
              reader.ReadInt(L"after", &after, 0));

  EXPECT_EQ(read,
            L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MFilerTaggedXml>\n<doc>\n"
            L"<inner a=\"1\"><x/>text</inner>\n</doc>\n</MFilerTaggedXml>\n");
}

}  // namespace
