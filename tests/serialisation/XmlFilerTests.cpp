// SPDX-License-Identifier: MIT
#include "tests/serialisation/RoundTrip.h"
#include "tests/support/StressScale.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/xml/MXmlDocument.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

MString TextOf(const MOutFilerTaggedXml& filer) {
  MString text;
  EXPECT_TRUE(filer.GetText(&text));
  return text;
}

/// The document that `write` makes, with the root element "Root".
MString Written(const std::function<void(MOutFilerTaggedXml&)>& write) {
  MOutFilerTaggedXml filer(L"Root", L"");
  write(filer);
  return TextOf(filer);
}

MInFilerTaggedXml ReaderOf(const MString& text) { return MInFilerTaggedXml(text, L"Root", L""); }

TEST(MOutFilerTaggedXml, WritesOneElementALine) {
  MOutFilerTaggedXml filer(L"Settings", L"urn:settings");
  EXPECT_TRUE(filer.WriteInt(L"Count", 42));
  EXPECT_TRUE(filer.BeginGroup(L"Panel"));
  EXPECT_TRUE(filer.WriteBool(L"Visible", true));
  EXPECT_TRUE(filer.WriteDouble(L"Scale", 1.5));
  EXPECT_TRUE(filer.EndGroup());
  EXPECT_TRUE(filer.WriteString(L"Title", L"A & B"));
  EXPECT_EQ(TextOf(filer),
            L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            L"<Settings xmlns=\"urn:settings\">\n"
            L"<Count type=\"int\">42</Count>\n"
            L"<Panel>\n"
            L"<Visible type=\"bool\">1</Visible>\n"
            L"<Scale type=\"float\">1.500000000000000e+00</Scale>\n"
            L"</Panel>\n"
            L"<Title type=\"string\">A &amp; B</Title>\n"
            L"</Settings>\n");
}

TEST(XmlFilers, EveryTypeHasItsNameAndItsText) {
  const MString text = Written([](MOutFilerTaggedXml& filer) {
    EXPECT_TRUE(filer.WriteChar(L"c", '<'));
    EXPECT_TRUE(filer.WriteFloat(L"f", 0.1f));
    EXPECT_TRUE(filer.WriteByte(L"y", 255));
    EXPECT_TRUE(filer.WriteUnsignedShort(L"us", 65535));
    EXPECT_TRUE(filer.WriteShort(L"s", -32768));
    EXPECT_TRUE(filer.WriteUnsignedInt(L"ui", 4294967295u));
    EXPECT_TRUE(filer.WriteString(L"e", L""));
    EXPECT_TRUE(filer.BeginGroup(L"g"));
    EXPECT_TRUE(filer.EndGroup());
  });
  EXPECT_EQ(text.substr(text.find(L"<c")),
            L"<c type=\"char\">&lt;</c>\n<f type=\"float\">1.00000001e-01</f>\n"
            L"<y type=\"byte\">255</y>\n<us type=\"uint\">65535</us>\n<s type=\"int\">-32768</s>\n"
            L"<ui type=\"uint\">4294967295</ui>\n<e type=\"string\"/>\n<g/>\n</Root>\n");
}

TEST(XmlFilers, EveryValueComesBackAsFarAsItsTextCarriesIt) {
  MOutFilerTaggedXml writer(L"Root", L"");
  const RoundTrip trip(writer, 15, 8, StressRounds(2000));
  MInFilerTaggedXml reader = ReaderOf(TextOf(writer));
  trip.ExpectBack(reader);
}

MString Repeat(std::wstring_view text, std::size_t count) {
  MString repeated;
  for (; count > 0; --count) repeated += text;
  return repeated;
}

MString Numbered(std::size_t number) { return L"v" + std::to_wstring(number); }

/// The document of the values v0, v1, ...
MString Values(std::size_t count) {
  return Written([=](MOutFilerTaggedXml& filer) {
    for (std::size_t i = 0; i < count; ++i) ASSERT_TRUE(filer.WriteInt(Numbered(i), 1));
  });
}

/// Whether as many reads succeed as are asked for.
void ExpectReads(std::size_t count, const std::function<bool(std::size_t)>& read) {
  std::size_t succeeded = 0;
  for (std::size_t i = 0; i < count; ++i) succeeded += read(i) ? 1u : 0u;
  EXPECT_EQ(succeeded, count);
}

TEST(XmlFilers, WhatAnInputCostsGrowsWithItsSize) {
  std::int32_t value = 0;
  const auto isDropped = [&](const MString& text) {
    EXPECT_FALSE(ReaderOf(text).ReadInt(L"v", &value, 0));
  };
  const std::function<void(std::size_t)> inputs[] = {
      [&](std::size_t n) { isDropped(L"<Root>" + Repeat(L"<a>", n)); },
      [&](std::size_t n) { isDropped(L"<Root>" + Repeat(L"</a>", n)); },
      [&](std::size_t n) { isDropped(Repeat(L"<a></b>", n)); },
      [&](std::size_t n) {  // deep, then wide
        MInFilerTaggedXml reader =
            ReaderOf(L"<Root>" + Repeat(L"<g>", n) + Repeat(L"<v type='int'>1</v>", n) +
                     Repeat(L"</g>", n) + L"</Root>");
        ExpectReads(n, [&](std::size_t) { return reader.BeginGroup(L"g"); });
        ExpectReads(n, [&](std::size_t) { return reader.ReadInt(L"v", &value, 0); });
        ExpectReads(n, [&](std::size_t) { return reader.EndGroup(); });
      },
      [&](std::size_t n) {  // the type is the last of many attributes
        MInFilerTaggedXml reader =
            ReaderOf(L"<Root><v" + Repeat(L" a='1'", n) + L" type='int'>1</v></Root>");
        EXPECT_TRUE(reader.ReadInt(L"v", &value, 0));
      },
      [&](std::size_t n) {
        MInFilerTaggedXml reader = ReaderOf(Values(n));
        ExpectReads(n, [&](std::size_t i) { return reader.ReadInt(Numbered(i), &value, 0); });
      },
      [&](std::size_t n) {  // in the wrong order: all but one are refused at once
        MInFilerTaggedXml reader = ReaderOf(Values(n));
        for (std::size_t i = n; --i > 0;) EXPECT_FALSE(reader.ReadInt(Numbered(i), &value, 0));
        EXPECT_TRUE(reader.ReadInt(Numbered(0), &value, 0));
      },
      [&](std::size_t n) {  // each group stands behind the one read before
        MInFilerTaggedXml reader = ReaderOf(L"<Root>" + Repeat(L"<v/><g/>", n) + L"</Root>");
        ExpectReads(n, [&](std::size_t) { return reader.BeginGroup(L"g") && reader.EndGroup(); });
      }};
  // Sixteen times the input may take eighty times as long; quadratic work takes 256 times. What
  // else runs on the machine may spoil a comparison, but not each of them.
  const auto seconds = [](const auto& input, std::size_t size) {
    const auto start = std::chrono::steady_clock::now();
    input(size);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  for (const auto& input : inputs) {
    SCOPED_TRACE(&input - inputs);
    const std::size_t many = 100000;
    bool isLinear = false;
    for (int comparisons = 0; !isLinear && comparisons < 5; ++comparisons) {
      isLinear = seconds(input, many) < 80 * seconds(input, many / 16);
    }
    EXPECT_TRUE(isLinear);
  }
}

TEST(MInFilerTaggedXml, AFailedReadGivesTheDefaultAndConsumesNothing) {
  MInFilerTaggedXml reader = ReaderOf(Written([](MOutFilerTaggedXml& filer) {
    EXPECT_TRUE(filer.WriteInt(L"Count", -1) && filer.WriteFloat(L"Scale", 0.5f) &&
                filer.WriteUnsignedInt(L"Big", 70000) && filer.WriteString(L"Last", L"x"));
  }));
  std::uint32_t wrongType = 0;
  EXPECT_FALSE(reader.ReadUnsignedInt(L"Count", &wrongType, 5));
  EXPECT_EQ(wrongType, 5u);
  std::int32_t count = 0;
  EXPECT_FALSE(reader.ReadInt(L"Missing", &count, 6));
  EXPECT_EQ(count, 6);
  EXPECT_TRUE(reader.ReadInt(L"Count", &count, 0));
  EXPECT_EQ(count, -1);

  double scale = 0.0;
  EXPECT_TRUE(reader.ReadDouble(L"Scale", &scale, 0.0)) << "floats and doubles share a type";
  EXPECT_EQ(scale, 0.5);

  std::uint16_t tooSmall = 0;
  EXPECT_FALSE(reader.ReadUnsignedShort(L"Big", &tooSmall, 9)) << "does not fit";
  EXPECT_EQ(tooSmall, 9);
  MString passedOver;
  EXPECT_FALSE(reader.ReadString(L"Last", &passedOver, L"default")) << "values come in order";
  EXPECT_FALSE(reader.ReadInt(L"Count", &count, 7)) << "what was read is behind";
}

TEST(MInFilerTaggedXml, NumbersAreExtractedAsByAStream) {
  struct Case {
    const wchar_t* data;
    bool read;
    std::int32_t value;
  };
  const Case cases[] = {{L"12abc", true, 12},      {L" \n-7", true, -7},
                        {L"+7", true, 7},          {L"", false, 0},
                        {L"abc", false, 0},        {L"-", false, 0},
                        {L"- 7", false, 0},        {L"2147483647", true, 2147483647},
                        {L"2147483648", false, 0}, {L"99999999999999999999", false, 0},
                        {L"0x10", true, 0},        {L"007", true, 7}};
  for (const Case& sample : cases) {
    MInFilerTaggedXml reader =
        ReaderOf(MString(L"<Root><n type=\"int\">") + sample.data + L"</n></Root>");
    std::int32_t value = 99;
    EXPECT_EQ(reader.ReadInt(L"n", &value, 99), sample.read) << testing::PrintToString(sample.data);
    EXPECT_EQ(value, sample.read ? sample.value : 99);
  }
  MInFilerTaggedXml reader =
      ReaderOf(L"<Root><b type=\"bool\">-5</b><b type=\"bool\">x</b></Root>");
  bool value = false;
  EXPECT_TRUE(reader.ReadBool(L"b", &value, false));
  EXPECT_TRUE(value) << "anything but zero";
  EXPECT_FALSE(reader.ReadBool(L"b", &value, true));
  EXPECT_TRUE(value);
}

TEST(XmlFilers, GroupsAreFoundPastOthersAndPastValuesOfTheirName) {
  MInFilerTaggedXml reader = ReaderOf(Written([](MOutFilerTaggedXml& filer) {
    EXPECT_TRUE(filer.WriteInt(L"g", 1) && filer.BeginGroup(L"first") && filer.EndGroup() &&
                filer.BeginGroup(L"g") && filer.WriteInt(L"inner", 2) &&
                filer.BeginGroup(L"deep") && filer.WriteInt(L"deepest", 3) && filer.EndGroup() &&
                filer.EndGroup() && filer.WriteInt(L"after", 4));
    EXPECT_FALSE(filer.EndGroup()) << "the root is not a group";
  }));
  std::int32_t number = 0;
  EXPECT_FALSE(reader.BeginGroup(L"missing"));
  ASSERT_TRUE(reader.BeginGroup(L"g"));
  EXPECT_TRUE(reader.ReadInt(L"inner", &number, 0));
  ASSERT_TRUE(reader.BeginGroup(L"deep"));
  EXPECT_TRUE(reader.ReadInt(L"deepest", &number, 0));
  EXPECT_TRUE(reader.EndGroup() && reader.EndGroup());
  EXPECT_FALSE(reader.EndGroup());
  EXPECT_TRUE(reader.ReadInt(L"after", &number, 0));
  EXPECT_EQ(number, 4);
}

TEST(MInFilerTaggedXml, ADocumentThatIsNotTheExpectedOneIsDropped) {
  const MString good = L"<Root xmlns=\"urn:a\"><n type=\"int\">1</n></Root>";
  struct Case {
    MString text;
    const wchar_t* root;
    const wchar_t* nameSpace;
    bool accepted;
  };
  const Case cases[] = {{good, L"Root", L"", true},
                        {good, L"Root", L"urn:a", true},
                        {good, L"Root", L"urn:b", false},
                        {good, L"root", L"", false},
                        {L"<Root/>", L"Root", L"urn:a", false},
                        {good + L"<x/>", L"Root", L"", false},
                        {L"", L"Root", L"", false}};
  for (const Case& sample : cases) {
    MInFilerTaggedXml reader(sample.text, sample.root, sample.nameSpace);
    std::int32_t number = 0;
    EXPECT_EQ(reader.ReadInt(L"n", &number, 5), sample.accepted);
    EXPECT_EQ(number, sample.accepted ? 1 : 5);
    EXPECT_FALSE(reader.BeginGroup(L"g"));
    EXPECT_FALSE(reader.EndGroup());
  }
  MOutFilerTaggedXml writer(L"no name", L"");
  MString text;
  EXPECT_FALSE(writer.WriteInt(L"n", 1) || writer.BeginGroup(L"g") || writer.GetText(&text));
}

TEST(XmlFilers, AnEmbeddedDocumentIsKeptWhole) {
  const MString embedded =
      L"<?xml version=\"1.0\"?><!-- left out --><inner a=\"1\"><x/>text</inner>";
  const MString text = Written([&](MOutFilerTaggedXml& filer) {
    EXPECT_TRUE(filer.WriteEmbeddedDocument(L"doc", embedded));
    EXPECT_FALSE(filer.WriteEmbeddedDocument(L"bad", L"<a>"));
    EXPECT_TRUE(filer.WriteInt(L"after", 1));
  });
  EXPECT_EQ(text.find(L"bad"), MString::npos);

  MInFilerTaggedXml reader = ReaderOf(text);
  MString read;
  EXPECT_FALSE(reader.ReadEmbeddedDocument(L"missing", &read));
  ASSERT_TRUE(reader.ReadEmbeddedDocument(L"doc", &read));
  std::int32_t after = 0;
  EXPECT_TRUE(reader.ReadInt(L"after", &after, 0));

  MXmlDocument document;
  ASSERT_TRUE(document.SetText(read));
  EXPECT_TRUE(document.FindElement(L"MFilerTaggedXml") && document.IntoElement() &&
              document.FindElement(L"doc") && document.IntoElement() &&
              document.FindElement(L"inner"));
  EXPECT_EQ(document.GetNodeText(), L"<inner a=\"1\"><x/>text</inner>");
}

}  // namespace
