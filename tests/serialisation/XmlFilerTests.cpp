// SPDX-License-Identifier: MIT
#include "tests/support/StressScale.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/xml/MXmlDocument.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

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

TEST(XmlFilers, EveryCharAndByteComesBack) {
  const MString text = Written([](MOutFilerTaggedXml& filer) {
    for (int i = 0; i < 256; ++i) {
      ASSERT_TRUE(filer.WriteChar(L"c", static_cast<char>(static_cast<unsigned char>(i))));
      ASSERT_TRUE(filer.WriteByte(L"b", static_cast<std::uint8_t>(i)));
    }
  });
  MInFilerTaggedXml reader = ReaderOf(text);
  for (int i = 0; i < 256; ++i) {
    char character = 'x';
    std::uint8_t byte = 7;
    ASSERT_TRUE(reader.ReadChar(L"c", &character, 'x')) << i;
    ASSERT_TRUE(reader.ReadByte(L"b", &byte, 7)) << i;
    EXPECT_EQ(static_cast<unsigned char>(character), i);
    EXPECT_EQ(byte, i);
  }
}

TEST(XmlFilers, ExtremeIntegersAndAnyFloatComeBack) {
  std::vector<float> floats = {0.0f,
                               -0.0f,
                               1.0f,
                               (std::numeric_limits<float>::max)(),
                               (std::numeric_limits<float>::lowest)(),
                               (std::numeric_limits<float>::min)(),
                               std::numeric_limits<float>::denorm_min(),
                               std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity()};
  std::mt19937 random(20261121);
  while (floats.size() < 2000) {
    const auto bits = static_cast<std::uint32_t>(random());
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isnan(value)) {
      floats.push_back(value);
    }
  }
  constexpr std::int32_t kMin = (std::numeric_limits<std::int32_t>::min)();
  constexpr std::int32_t kMax = (std::numeric_limits<std::int32_t>::max)();
  const MString text = Written([&](MOutFilerTaggedXml& filer) {
    EXPECT_TRUE(filer.WriteInt(L"min", kMin) && filer.WriteInt(L"max", kMax));
    EXPECT_TRUE(filer.WriteFloat(L"nan", std::numeric_limits<float>::quiet_NaN()));
    for (const float value : floats) {
      ASSERT_TRUE(filer.WriteFloat(L"f", value));
    }
  });
  MInFilerTaggedXml reader = ReaderOf(text);
  std::int32_t number = 0;
  EXPECT_TRUE(reader.ReadInt(L"min", &number, 0));
  EXPECT_EQ(number, kMin);
  EXPECT_TRUE(reader.ReadInt(L"max", &number, 0));
  EXPECT_EQ(number, kMax);
  float read = 0.0f;
  EXPECT_TRUE(reader.ReadFloat(L"nan", &read, 0.0f));
  EXPECT_TRUE(std::isnan(read));
  for (const float value : floats) {
    ASSERT_TRUE(reader.ReadFloat(L"f", &read, 42.0f)) << value;
    EXPECT_EQ(std::memcmp(&read, &value, sizeof read), 0) << value << " as " << read;
  }
}

// The prescribed text carries 16 significant digits: asked for is the double nearest to them.
TEST(XmlFilers, DoublesComeBackAsFarAsTheirTextCarriesThem) {
  std::vector<double> doubles = {0.0,
                                 -0.0,
                                 0.1,
                                 (std::numeric_limits<double>::max)(),
                                 (std::numeric_limits<double>::min)(),
                                 std::numeric_limits<double>::denorm_min(),
                                 std::numeric_limits<double>::infinity()};
  std::mt19937_64 random(20261121);
  while (doubles.size() < 2000) {
    const std::uint64_t bits = random();
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    if (std::isfinite(value)) {
      doubles.push_back(value);
    }
  }
  const MString text = Written([&](MOutFilerTaggedXml& filer) {
    for (const double value : doubles) {
      ASSERT_TRUE(filer.WriteDouble(L"d", value));
    }
  });
  MInFilerTaggedXml reader = ReaderOf(text);
  for (const double value : doubles) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.15e", value);
    const double expected = std::strtod(digits, nullptr);
    double read = 42.0;
    ASSERT_TRUE(reader.ReadDouble(L"d", &read, 42.0)) << digits;
    EXPECT_EQ(std::memcmp(&read, &expected, sizeof read), 0) << digits << " as " << read;
  }
}

TEST(XmlFilers, AnyTextComesBack) {
  std::vector<MString> texts = {L"",
                                L" ",
                                L"\n",
                                L"\r\n\t",
                                L"]]>",
                                L"<![CDATA[x]]>",
                                L"&amp;",
                                L"&#65;",
                                L"<a b=\"c\">'</a>",
                                L"--><!--",
                                L"<?x?>",
                                MString(1, L'\0'),
                                MString(L"a\0b", 3),
                                MString(1, wchar_t(0xD800)),
                                MString(1, wchar_t(0xFFFF)),
                                L"\x4e2d",
                                MString(100000, L'<')};
  std::mt19937 random(20261121);
  for (int i = 0; i < StressRounds(1000); ++i) {
    MString text;
    for (auto n = random() % 20; n > 0; --n) {
      text += L"<>&'\"];#x \n\r\t/=!-?a0\xE9"[random() % 21];
    }
    texts.push_back(text);
  }
  const MString document = Written([&](MOutFilerTaggedXml& filer) {
    for (const MString& text : texts) {
      ASSERT_TRUE(filer.WriteString(L"s", text));
    }
  });
  MInFilerTaggedXml reader = ReaderOf(document);
  for (const MString& text : texts) {
    MString read;
    ASSERT_TRUE(reader.ReadString(L"s", &read, L"default"));
    EXPECT_EQ(read, text);
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
