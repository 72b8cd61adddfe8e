// SPDX-License-Identifier: MIT
// Values of any type, and types that describe their fields.
#include "tests/serialisation/ManyFields.h"
#include "tests/support/RegistryKit.h"
#include "velta/errors/Describe.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <array>
#include <bit>
#include <cfloat>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono;

MString TextOf(const MOutFilerTaggedXml& filer) {
  MString text;
  EXPECT_TRUE(filer.GetText(&text));
  return text;
}

MInFilerTaggedXml ReaderOf(const MString& text) { return MInFilerTaggedXml(text, L"Root", L""); }

template <class T>
MString FieldsAsXml(const T& value) {
  MOutFilerTaggedXml filer(L"Root", L"");
  WriteFields(filer, value);
  return TextOf(filer);
}

template <class Call>
MString Thrown(const Call& call) {
  try {
    call();
  } catch (const MException& exception) {
    return Describe(exception);
  }
  return L"nothing";
}

/// In a key that no other test uses.
class RegistryFields : public testing::Test {
 protected:
  RegistryFields() = default;
  ~RegistryFields() override {
#if defined(_WIN32)
    ::RegDeleteTreeW(HKEY_CURRENT_USER, (L"Software\\Velta\\" + application).c_str());
#endif
  }

  const TestRegistry registry;
  const std::wstring application = UniqueKeyName();
  IOutFilerTaggedRegistry writer{application};
  IInFilerTaggedRegistry reader{application, true};
};

ManyFields AtTheEdges() {
  ManyFields fields;
  fields.tiny = INT8_MIN;
  fields.byte = UINT8_MAX;
  fields.small16 = INT16_MIN;
  fields.positive16 = UINT16_MAX;
  fields.number = INT32_MIN;
  fields.positive = UINT32_MAX;
  fields.large = INT64_MIN;
  fields.positiveLarge = UINT64_MAX;
  fields.longest = UINT64_MAX;
  fields.letter = '\xFF';
  fields.ratio = 7.038531e-26F;  // whose shortest text a double rounds the wrong way
  fields.scale = DBL_MAX;
  fields.level = Level::kLow;
  fields.wide = L"";
  fields.some.reset();
  fields.none = L"";
  fields.numbers.clear();
  fields.bytes.clear();
  fields.wait = milliseconds::min();
  fields.exact = duration<double>(-std::numeric_limits<double>::infinity());
  fields.when = sys_time<nanoseconds>::max();
  fields.file = L"";
  return fields;
}

TEST(Fields, OfEveryKindComeBackFromXmlWithTheTextThatTheFormatFixes) {
  for (const ManyFields& fields : {ManyFields(), AtTheEdges()}) {
    ManyFields back = fields == ManyFields() ? AtTheEdges() : ManyFields();
    MInFilerTaggedXml reader = ReaderOf(FieldsAsXml(fields));
    ReadFields(reader, back);
    EXPECT_EQ(FieldsAsXml(back), FieldsAsXml(fields));
    back.others = fields.others;  // a version of its own
    EXPECT_TRUE(back == fields) << FieldsAsXml(back);
  }
  const MString text = FieldsAsXml(ManyFields());
  for (const wchar_t* const part :
       {L"<Version type=\"uint\">2<", L"<Tiny type=\"int\">-8<", L"<Byte type=\"byte\">8<",
        L"<Large type=\"string\">-64<", L"<Scale type=\"string\">0.1<",
        L"<Colour type=\"string\">green<", L"<Level type=\"string\">5000000000<",
        L"<Some>\n<Count type=\"uint\">1</Count>\n<Item0 type=\"int\">1</Item0>\n</Some>",
        L"<None>\n<Count type=\"uint\">0</Count>\n</None>",
        L"<Key0 type=\"string\">a</Key0>\n<Value0>", L"<Bytes type=\"string\">00ff<",
        L"<Wait type=\"string\">1500 ms<", L"<Exact type=\"string\">0.1 s<",
        L"<When type=\"string\">1969-12-31T23:59:59.999999999Z<"}) {
    EXPECT_THAT(text, testing::HasSubstr(part));
  }
}

TEST_F(RegistryFields, OfEveryKindComeBackAlsoWhenFewerItemsTakeThePlaceOfMore) {
  for (const ManyFields& fields : {ManyFields(), AtTheEdges(), ManyFields()}) {
    WriteFields(writer, fields);
    ManyFields back;
    back.number = 1;
    ReadFields(reader, back);
    back.others = fields.others;
    EXPECT_TRUE(back == fields) << FieldsAsXml(back);
  }
}

template <class T>
void ExpectBitsBack(IOutFilerTagged& writer, IInFilerTagged& reader, std::vector<T> values) {
  using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
  for (int shift = 0; shift < 64; ++shift) {  // every exponent's neighbourhood, and NaNs
    values.push_back(std::bit_cast<T>(static_cast<Bits>(0xFFF0'0000'0000'0001 >> shift)));
    values.push_back(std::bit_cast<T>(static_cast<Bits>(0x7FE5'1234'5678'9ABC >> shift)));
  }
  for (const T value : values) {
    ASSERT_TRUE(Write(writer, L"Bits", value));
    T back{};
    ASSERT_TRUE(Read(reader, L"Bits", back)) << value;
    EXPECT_EQ(std::bit_cast<Bits>(back), std::bit_cast<Bits>(value));
  }
}

TEST_F(RegistryFields, FloatingNumbersComeBackBitForBit) {
  ExpectBitsBack<double>(writer, reader, {0.1, -0.0, DBL_MIN, DBL_TRUE_MIN, INFINITY});
  ExpectBitsBack<float>(writer, reader, {0.1F, -0.0F, FLT_MAX, FLT_TRUE_MIN, 7.038531e-26F});
}

/// What a value that is written as `Stored` reads as; its default when it does not fit.
template <class Stored, class Asked>
Asked Reread(IOutFilerTagged& writer, IInFilerTagged& reader, const Stored& stored, Asked asked) {
  EXPECT_TRUE(Write(writer, L"Value", stored));
  static_cast<void>(Read(reader, L"Value", asked));
  return asked;
}

TEST_F(RegistryFields, AnotherTypeReadsAValueOnlyIfItCanHoldIt) {
  const auto overXml = [](const auto& stored, auto asked) {
    MOutFilerTaggedXml filer(L"Root", L"");
    EXPECT_TRUE(Write(filer, L"Value", stored));
    MInFilerTaggedXml from = ReaderOf(TextOf(filer));
    static_cast<void>(Read(from, L"Value", asked));
    return asked;
  };
  const auto expect = [&](const auto& stored, auto asked, auto expected) {
    EXPECT_EQ(overXml(stored, asked), expected);
    EXPECT_EQ(Reread(writer, reader, stored, asked), expected);
  };
  expect(std::int32_t{-7}, std::int64_t{1}, std::int64_t{-7});  // a field has become wider
  expect(std::uint32_t{7}, std::uint64_t{1}, std::uint64_t{7});
  expect(std::uint8_t{7}, std::int64_t{1}, std::int64_t{7});
  expect(std::int64_t{7}, std::int16_t{1}, std::int16_t{7});  // or narrower
  expect(std::int64_t{70000}, std::int16_t{1}, std::int16_t{1});
  expect(std::uint32_t{70000}, std::uint16_t{1}, std::uint16_t{1});
  expect(std::int32_t{300}, std::uint8_t{1}, std::uint8_t{1});
  expect(std::int32_t{200}, std::int8_t{1}, std::int8_t{1});
  expect(MString(L"7x"), 1, 1);
  expect(MString(L""), 1, 1);
  expect(MString(L"1e999"), 1.5, 1.5);
  expect(MString(L" 2"), 1.5, 1.5);
  expect(MString(L"nan"), 1.5, 1.5);
  expect(MString(L"1"), true, true);
  expect(MString(L"0"), true, true);
  expect(MString(L"blue"), Colour::kRed, Colour::kRed);
  expect(hours(2), minutes(1), minutes(120));
  expect(milliseconds(90'000), seconds(1), seconds(90));
  expect(milliseconds(1'500), seconds(1), seconds(1));
  expect(std::chrono::days(INT32_MAX), nanoseconds(1), nanoseconds(1));
  expect(MString(L"5 furlongs"), seconds(1), seconds(1));
  expect(milliseconds(1'500), duration<double>(1), duration<double>(1.5));
  for (const wchar_t* const text :
       {L"2026-02-29T00:00:00Z", L"2026-01-01T24:00:00Z", L"2026-01-01T00:00:00", L"2026-01-01",
        L"2262-04-11T23:47:16.854775808Z", L"2026-01-01T00:00:00.Z"}) {
    expect(MString(text), sys_time<nanoseconds>(), sys_time<nanoseconds>());
  }
  expect(MString(L"1677-09-21T00:12:43.145224192Z"), sys_time<nanoseconds>(),
         sys_time<nanoseconds>::min());
  expect(MString(L"2000-02-29T12:00:00.5Z"), sys_seconds(), sys_seconds(seconds(951'825'600)));
  expect(std::vector<int>{1, 2}, std::list<short>{5}, std::list<short>{1, 2});
  expect(std::vector<int>{1, 70000}, std::list<short>{5}, std::list<short>{5});
  expect(std::vector<int>{1, 2}, std::optional<int>(5), std::optional<int>(5));
  expect(std::vector<int>{1}, std::array<int, 2>{5, 6}, std::array<int, 2>{5, 6});
  expect(MString(L"0g"), std::vector<std::byte>(1), std::vector<std::byte>(1));
  expect(MString(1, wchar_t{0xD800}), std::string("old"), std::string("old"));
}

MException Chain() {
  MError cause(L"Reader.Open:OpenFailed");
  cause.AddParameter(L"file", L"a<b");
  MException chain(cause);
  chain.AddError(MError(L"Importer.Run:ImportFailed"));
  return chain;
}

TEST_F(RegistryFields, AChainOfErrorsComesBackFromBothMedia) {
  MOutFilerTaggedXml filer(L"Root", L"");
  ASSERT_TRUE(Write(filer, L"Last", Chain()) && Write(writer, L"Last", Chain()));
  MInFilerTaggedXml from = ReaderOf(TextOf(filer));
  for (IInFilerTagged* const source :
       {static_cast<IInFilerTagged*>(&from), static_cast<IInFilerTagged*>(&reader)}) {
    MException back;
    ASSERT_TRUE(Read(*source, L"Last", back));
    EXPECT_EQ(Describe(back), Describe(Chain()));
    EXPECT_FALSE(Read(*source, L"Missing", back));
    EXPECT_EQ(back.GetErrorCount(), 2);
  }
}

struct Window {
  std::int32_t width = 640;
  MString title = L"Untitled";
  std::vector<Node> nodes;

  static void Describe(auto& field) {
    field(L"Width", &Window::width, Velta::Between(1u, 4000), Velta::Required());
    field(L"Title", &Window::title, Velta::LengthUpTo(8),
          Velta::Where([](const MString& title) { return !title.empty(); }, L"not empty"));
    field(L"Nodes", &Window::nodes);
  }
};

TEST(Fields, ThatAreWrongKeepTheirValueAndAreNamedWithTheirPlace) {
  const struct {
    const wchar_t* content;
    std::vector<MString> problems;
  } kCases[] = {
      {L"<Title type=\"string\">T</Title><Width type=\"int\">1</Width>", {}},
      {L"<Width type=\"int\">\n<b/></Width>",
       {L"Fields.Read:Unreadable (column 7, field Root/Width, line 1)"}},
      {L"", {L"Fields.Read:Missing (field Root/Width)"}},
      {L"\n <Width type=\"int\">0</Width><x/><Title type=\"string\"></Title>",
       {L"Fields.Read:NotAllowed (allowed 1 to 4000, column 2, field Root/Width, line 2, value 0)",
        L"Fields.Read:NotAllowed (allowed not empty, column 33, field Root/Title, line 2, value "
        L")"}},
      {L"<Width type=\"int\">2</Width><Title type=\"string\">too long.</Title>",
       {L"Fields.Read:NotAllowed (allowed a length up to 8, column 34, field Root/Title, line 1, "
        L"value too long.)"}},
      {L"<Nodes><Count type=\"uint\">2</Count><Item0><Number type=\"int\">-1</Number></Item0>"
       L"<Item1/></Nodes><Width type=\"int\">2</Width>",
       {L"Fields.Read:NotAllowed (allowed 0 to 1000, column 49, field Root/Nodes/Item0/Number, "
        L"line 1, value -1)"}},
      {L"<Nodes><Count type=\"uint\">9</Count></Nodes><Width type=\"int\">2</Width>",
       {L"Fields.Read:Unreadable (column 7, field Root/Nodes, line 1)"}},
  };
  for (const auto& [content, expected] : kCases) {
    MInFilerTaggedXml reader = ReaderOf(L"<Root>" + MString(content) + L"</Root>");
    Window window{77, L"old", {Node()}};
    Velta::FieldProblems problems;
    ReadFields(reader, window, problems);
    std::vector<MString> texts;
    for (const MError& problem : problems) {
      texts.push_back(Describe(problem));
    }
    EXPECT_EQ(texts, expected) << content;
    if (!expected.empty() && window.nodes.size() == 1) {
      EXPECT_TRUE(window.width == 77 || window.width == 2);
      EXPECT_EQ(window.title, L"old");
    }
  }

  MInFilerTaggedXml reader = ReaderOf(L"<Root><Width type=\"bool\"/><Title/></Root>");
  Window window{77, L"old", {}};
  EXPECT_EQ(Thrown([&] { ReadFields(reader, window); }),
            L"Fields.Read:Unreadable (column 7, field Root/Width, line 1, problems 2)");
  EXPECT_EQ(window.width, 77);
  window.width = 0;
  MOutFilerTaggedXml writer(L"Root", L"");
  EXPECT_EQ(Thrown([&] { WriteFields(writer, window); }),
            L"Fields.Write:NotAllowed (allowed 1 to 4000, field Width, value 0)");
  MOutFilerTaggedXml none(L"1", L"");
  EXPECT_EQ(Thrown([&] { WriteFields(none, Node()); }), L"Fields.Write:NotStored (field Number)");
}

TEST_F(RegistryFields, ThatAreWrongAreNamedWithTheirKey) {
  ASSERT_TRUE(writer.WriteString(L"Width", L"x") && writer.BeginGroup(L"Nodes") &&
              writer.WriteUnsignedInt(L"Count", 1u));
  Window window;
  Velta::FieldProblems problems;
  ReadFields(reader, window, problems);
  ASSERT_EQ(problems.size(), 2U);
  const MString key = L"HKEY_CURRENT_USER\\Software\\Velta\\" + application;
  EXPECT_EQ(Describe(problems[0]), L"Fields.Read:Unreadable (field Width, key " + key + L")");
  EXPECT_EQ(problems[1].GetParameters().at(L"field"), L"Nodes");
  Node node{5, {}};
  EXPECT_FALSE(Read(reader, L"Absent", node)) << "a key that does not exist is no group";
}

/// What a newer version of the same program has.
struct NewerNode {
  int number = 3;
  MString label = L"new";

  static void Describe(auto& field) {
    field.Version(4, [](NewerNode& node, std::uint32_t from, IInFilerTagged& filer) {
      int old = 0;
      node.label = ReadField(filer, L"Nummer", old) ? L"from " + std::to_wstring(from) : L"";
      node.number += old;
    });
    field(L"Label", &NewerNode::label);
    field(L"Number", &NewerNode::number);
  }
};

struct OlderNode {
  int number = 0;
  Velta::OtherFields others;

  static void Describe(auto& field) {
    field.Version(3);
    field(L"Number", &OlderNode::number);
    field.KeepOthers(&OlderNode::others);
  }
};

TEST(Fields, OfANewerVersionAreKeptAndOfAnOlderOneMigrated) {
  OlderNode older;
  MInFilerTaggedXml newer = ReaderOf(FieldsAsXml(NewerNode()));
  ReadFields(newer, older);
  older.number = 8;
  NewerNode back;
  MInFilerTaggedXml rewritten = ReaderOf(FieldsAsXml(older));
  ReadFields(rewritten, back);
  EXPECT_EQ(std::pair(back.number, back.label), std::pair(8, MString(L"new")));

  MInFilerTaggedXml old = ReaderOf(
      L"<Root><Number type=\"int\">1</Number><Version type=\"uint\">2</Version><a/>"
      L"<Nummer type=\"int\">40</Nummer></Root>");
  ReadFields(old, back);
  EXPECT_EQ(std::pair(back.number, back.label), std::pair(41, MString(L"from 2")));
  MInFilerTaggedXml again = ReaderOf(L"<Root><Version type=\"uint\">2</Version><Obsolete/></Root>");
  ReadFields(again, older);
  EXPECT_TRUE(older.others.IsEmpty());
  MInFilerTaggedXml damaged = ReaderOf(L"<Root><Version type=\"uint\">x</Version><Kept/></Root>");
  Velta::FieldProblems problems;
  ReadFields(damaged, older, problems);
  EXPECT_EQ(problems.size(), 1U);
  EXPECT_FALSE(older.others.IsEmpty());
}

TEST(Fields, AreReadNoDeeperThanTheStackAllowsAndProblemsAreCounted) {
  MString deep = L"<Root>";
  MString wrong = L"<Root><Nodes><Count type=\"uint\">500</Count>";
  for (int i = 0; i < 100'000; ++i) {
    deep += L"<Nodes><Count type=\"uint\">1</Count><Item0>";
  }
  for (int i = 0; i < 100'000; ++i) {
    deep += L"</Item0></Nodes>";
  }
  for (int i = 0; i < 500; ++i) {
    wrong += L"<Item" + std::to_wstring(i) + L"><Number/></Item" + std::to_wstring(i) + L">";
  }
  for (const auto& [text, count] : {std::pair(deep + L"</Root>", std::size_t{1}),
                                    std::pair(wrong + L"</Nodes></Root>", std::size_t{100})}) {
    MInFilerTaggedXml reader = ReaderOf(text);
    Node node;
    Velta::FieldProblems problems;
    ReadFields(reader, node, problems);
    EXPECT_EQ(problems.size(), count);
    EXPECT_FALSE(node.nodes.empty());
  }
}

}  // namespace
