// SPDX-License-Identifier: MIT
#include "tests/serialisation/RoundTrip.h"
#include "tests/support/RegistryKit.h"
#include "velta/errors/MException.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if !defined(_WIN32)
#include "tests/support/OrdinaryUser.h"
#endif

namespace {

using testing::ElementsAre;
using testing::Pair;

class RegistryFilers : public testing::Test {
 protected:
  RegistryFilers() = default;
  ~RegistryFilers() override {
#if defined(_WIN32)
    ::RegDeleteTreeW(HKEY_CURRENT_USER, KeyName().c_str());
#endif
  }

  [[nodiscard]] std::wstring KeyName() const { return L"Software\\Velta\\" + application; }

  /// The raw value below the application's key.
  [[nodiscard]] StoredValue Raw(const wchar_t* name, const wchar_t* groups = L"") const {
    const std::wstring path = KeyName() + L"\\" + groups;
    const LSTATUS status = Opened(HKEY_CURRENT_USER, path.c_str());
    return status == ERROR_SUCCESS ? Stored(TestKey(HKEY_CURRENT_USER, path), name)
                                   : StoredValue{status, 0, {}};
  }

  void StoreRaw(const wchar_t* name, DWORD type, const std::vector<BYTE>& data) const {
    const TestKey key(HKEY_CURRENT_USER, KeyName());
    ASSERT_EQ(Store(key, name, type, data), ERROR_SUCCESS);
  }

  const TestRegistry registry;
  const std::wstring application = UniqueKeyName();
  IOutFilerTaggedRegistry writer{application};
  IInFilerTaggedRegistry reader{application, false};
};

StoredValue Dword(std::uint32_t value) { return {ERROR_SUCCESS, REG_DWORD, BytesOf(value)}; }
StoredValue Text(const std::wstring& text) { return {ERROR_SUCCESS, REG_SZ, BytesOf(text)}; }

#if defined(_WIN32)
/// A file of UTF-16 with a byte order mark, or of ASCII, with line feeds alone.
std::string LinesOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(stream), {});
  std::erase_if(text, [](char c) { return c <= 0 || c == '\r'; });
  return text;
}
#endif

TEST_F(RegistryFilers, EveryTypeIsStoredByteForByteAndGroupsAreKeys) {
  ASSERT_TRUE(writer.WriteInt(L"Count", 42) && writer.WriteFloat(L"Ratio", 0.1F) &&
              writer.WriteDouble(L"Scale", 1.5) && writer.WriteString(L"Title", L"A \"&\" B\\C") &&
              writer.BeginGroup(L"Panel") && writer.WriteChar(L"Mark", 'x') &&
              writer.WriteShort(L"Offset", std::int16_t{-2}) &&
              writer.WriteBool(L"Visible", true) && writer.BeginGroup(L"Layout") &&
              writer.WriteByte(L"Columns", std::uint8_t{3}) &&
              writer.WriteUnsignedShort(L"Height", std::uint16_t{65535}) &&
              writer.WriteUnsignedInt(L"Width", 4294967295U));
#if defined(_WIN32)
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() / (application + L".reg");
  const std::wstring key = L"HKCU\\" + KeyName();
  ASSERT_EQ(::_wspawnlp(_P_WAIT, L"reg.exe", L"reg.exe", L"export", key.c_str(), file.c_str(),
                        L"/y", nullptr),
            0);
  std::string exported = LinesOf(file);
  std::filesystem::remove(file);
  const std::string unique(application.begin(), application.end());
  for (auto at = exported.find(unique); at != std::string::npos; at = exported.find(unique)) {
    exported.replace(at, unique.size(), "Example");
  }
  EXPECT_EQ(exported, LinesOf(VELTA_TEST_SOURCES "/tests/golden/registry.reg"));
#endif
  EXPECT_EQ(Raw(L"Count"), Dword(42));
  EXPECT_EQ(Raw(L"Ratio"), Text(L"1.000000e-01"));
  EXPECT_EQ(Raw(L"Scale"), Text(L"1.50000000000000e+00"));
  EXPECT_EQ(Raw(L"Title"), Text(L"A \"&\" B\\C"));
  EXPECT_EQ(Raw(L"Mark", L"Panel"), Dword('x'));
  EXPECT_EQ(Raw(L"Offset", L"Panel"), Dword(0xFFFFFFFE));
  EXPECT_EQ(Raw(L"Visible", L"Panel"), Dword(1));
  EXPECT_EQ(Raw(L"Columns", L"Panel\\Layout"), Dword(3));
  EXPECT_EQ(Raw(L"Height", L"Panel\\Layout"), Dword(65535));
  EXPECT_EQ(Raw(L"Width", L"Panel\\Layout"), Dword(0xFFFFFFFF));
  ASSERT_TRUE(writer.WriteChar(L"Mark", '\xE9') && writer.EndGroup() && writer.EndGroup());
  EXPECT_EQ(Raw(L"Mark", L"Panel\\Layout"), Dword(0xE9));
  EXPECT_FALSE(writer.EndGroup()) << "none is begun";
}

TEST_F(RegistryFilers, EveryValueComesBackAsFarAsItsTextCarriesIt) {
  RoundTrip(writer, 14, 6, 30).ExpectBack(reader);
}

TEST_F(RegistryFilers, FloatingNumbersAreScannedFromAnyString) {
  constexpr double kDefault = 7.0;  // what an unreadable text leaves
  const std::pair<const wchar_t*, double> cases[] = {
      {L"2", 2.0},       {L" \t-2.5e1x", -25.0}, {L"1,5", 1.0},    {L".5", 0.5},
      {L"+1e3", 1000.0}, {L"", kDefault},        {L" ", kDefault}, {L"x1", kDefault}};
  for (const auto& [text, value] : cases) {
    SCOPED_TRACE(text);
    ASSERT_TRUE(writer.WriteString(L"Number", text));
    double asDouble = 0.0;
    float asFloat = 0.0F;
    EXPECT_EQ(reader.ReadDouble(L"Number", &asDouble, kDefault), value != kDefault);
    EXPECT_EQ(reader.ReadFloat(L"Number", &asFloat, 7.0F), value != kDefault);
    EXPECT_EQ(asDouble, value);
    EXPECT_EQ(static_cast<double>(asFloat), value);
  }
  ASSERT_TRUE(writer.WriteInt(L"Number", 2));
  double number = 0.0;
  EXPECT_FALSE(reader.ReadDouble(L"Number", &number, 7.0)) << "no string";
}

TEST_F(RegistryFilers, IntegersTakeTheLowBitsOfWhateverHasAtMostFourBytes) {
  StoreRaw(L"Long", REG_BINARY, {1, 2, 3, 4, 5});
  StoreRaw(L"Binary", REG_BINARY, {0xFF, 0xFE, 0x01, 0x00});
  std::int32_t number = 0;
  std::int16_t low = 0;
  std::uint8_t byte = 0;
  char character = 0;
  EXPECT_FALSE(reader.ReadInt(L"Long", &number, 9));
  EXPECT_EQ(number, 9);
  EXPECT_TRUE(reader.ReadInt(L"Binary", &number, 9) &&
              reader.ReadByte(L"Binary", &byte, std::uint8_t{9}) &&
              reader.ReadShort(L"Binary", &low, std::int16_t{9}));
  EXPECT_THAT((std::vector<int>{number, byte, low}),
              ElementsAre(0x0001FEFF, 0xFF, 0xFEFF - 0x10000));
  EXPECT_FALSE(reader.ReadChar(L"Binary", &character, 'd')) << "a character is a REG_DWORD";
  EXPECT_EQ(character, 'd');
}

TEST_F(RegistryFilers, AStringIsWhatIsStoredAsOne) {
  const std::wstring text = L"text";
  MString read;
  StoreRaw(L"Twice", REG_SZ, BytesOf(text + std::wstring(1, L'\0')));
  EXPECT_TRUE(reader.ReadString(L"Twice", &read, L"default"));
  EXPECT_EQ(read, text + std::wstring(1, L'\0')) << "one terminator is not part of the text";
  StoreRaw(L"Nothing", REG_SZ, {});
  EXPECT_TRUE(reader.ReadString(L"Nothing", &read, L"default"));
  EXPECT_EQ(read, L"");
  StoreRaw(L"Binary", REG_BINARY, BytesOf(text));
  EXPECT_FALSE(reader.ReadString(L"Binary", &read, L"default"));
  EXPECT_EQ(read, L"default");
}

TEST_F(RegistryFilers, ReadingStaysWithinItsGroupAndCreatesNone) {
  ASSERT_TRUE(writer.BeginGroup(L"Panel") && writer.WriteInt(L"Count", 2) && writer.EndGroup());
  std::int32_t number = 0;
  ASSERT_TRUE(reader.BeginGroup(L"Panel") && reader.BeginGroup(L"Missing"));
  EXPECT_FALSE(reader.ReadInt(L"Count", &number, 8));
  EXPECT_EQ(number, 8);
  ASSERT_TRUE(reader.EndGroup() && reader.ReadInt(L"Count", &number, 0));
  EXPECT_EQ(number, 2);
  ASSERT_TRUE(reader.EndGroup());
  EXPECT_FALSE(reader.EndGroup());
  ASSERT_TRUE(writer.BeginGroup(L"Empty") && writer.EndGroup());
  EXPECT_EQ(Raw(L"", L"Panel\\Missing").status, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Raw(L"", L"Empty").status, ERROR_FILE_NOT_FOUND) << "nor does a group without a value";
}

TEST_F(RegistryFilers, TagsThatAreNoPlainNames) {
  ASSERT_TRUE(writer.BeginGroup(L"A\\B") && writer.BeginGroup(L"") && writer.WriteInt(L"x\\y", 1) &&
              writer.WriteInt(L"", 2));
  EXPECT_EQ(Raw(L"x\\y", L"A\\B"), Dword(1)) << "a path for a group, not for a value";
  EXPECT_EQ(Raw(nullptr, L"A\\B"), Dword(2)) << "the default value";
  const MString cut(L"cut\0off", 7);
  EXPECT_FALSE(writer.WriteInt(cut, 3));
  EXPECT_EQ(Raw(L"cut", L"A\\B").status, ERROR_FILE_NOT_FOUND);
  std::int32_t number = 0;
  ASSERT_TRUE(reader.BeginGroup(L"a") && reader.BeginGroup(L"b")) << "equal without case";
  EXPECT_TRUE(reader.ReadInt(L"", &number, 0) && reader.ReadInt(L"X\\y", &number, 0));
  EXPECT_EQ(number, 1);
  MString text;
  EXPECT_FALSE(reader.ReadInt(cut, &number, 7) || reader.ReadString(cut, &text, L"d"));
  for (const MString& tag : {MString(L"\\Front"), cut, MString(300, L'x')}) {
    IOutFilerTaggedRegistry refused(application);
    EXPECT_TRUE(refused.BeginGroup(tag));
    EXPECT_FALSE(refused.WriteInt(L"Value", 1));
  }
}

TEST_F(RegistryFilers, AnotherHiveHasItsKeysElsewhere) {
  const TestKey hive(HKEY_CURRENT_USER, KeyName() + L"-Hive", KEY_READ | KEY_WRITE,
                     TestKey::Afterwards::kIsRemoved);
  EXPECT_EQ(writer.GetRootHive(), HKEY_CURRENT_USER);
  EXPECT_EQ(reader.GetCompanyKeyName(), L"Velta");
  writer.SetRootHive(hive);
  reader.SetRootHive(hive);
  EXPECT_FALSE(writer.WriteInt(L"Count", 1)) << "the base key is not created";
  const TestKey base(hive, L"Software\\Wow6432Node");
  ASSERT_TRUE(writer.BeginGroup(L"Panel") && writer.WriteInt(L"Count", 1));
  const TestKey stored(base, L"Velta\\" + application + L"\\Panel", KEY_READ);
  EXPECT_EQ(Stored(stored, L"Count"), Dword(1));
  std::int32_t number = 0;
  EXPECT_TRUE(reader.BeginGroup(L"Panel") && reader.ReadInt(L"Count", &number, 0));

  writer.SetCompanyKeyName(L"Other");
  reader.SetCompanyKeyName(L"Other");
  ASSERT_TRUE(writer.WriteInt(L"Count", 2) && reader.ReadInt(L"Count", &number, 0));
  EXPECT_EQ(number, 2);
  EXPECT_EQ(Stored(stored, L"Count"), Dword(1));
}

TEST_F(RegistryFilers, OnlyAReaderThatMayCreatesTheApplicationsKey) {
  std::int32_t number = 0;
  IInFilerTaggedRegistry cautious(application, true);
  EXPECT_FALSE(cautious.ReadInt(L"Count", &number, 5));
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, KeyName().c_str()), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(reader.ReadInt(L"Count", &number, 5));
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, KeyName().c_str()), ERROR_SUCCESS);
  ASSERT_TRUE(writer.WriteInt(L"Count", 6) && cautious.ReadInt(L"Count", &number, 5));
  EXPECT_EQ(number, 6);
}

TEST_F(RegistryFilers, DocumentsAndTheReservedOperationAreNotSupported) {
  MString text = L"old";
  EXPECT_FALSE(writer.WriteEmbeddedDocument(L"Doc", L"<a/>") || reader.ReadReserved(L"Doc") ||
               reader.ReadEmbeddedDocument(L"Doc", &text));
  EXPECT_EQ(text, L"");
}

// There is one group of a name: who reads groups until there is none must still come to an end, and
// stand where it stood.
TEST_F(RegistryFilers, AnErrorWithAParameterComesBackAndAChainLeavesItsLast) {
  MError first(L"A.B:First");
  first.AddParameter(L"status", L"128");
  MException chain(MError(L"C.D:Overwritten"));
  chain.AddError(first);
  ASSERT_TRUE(chain.Write(writer, L"Exception") && reader.BeginGroup(L"Exception"));
  MError error;
  EXPECT_FALSE(error.Read(reader, L"Missing"));
  EXPECT_TRUE(chain.Read(reader, L"Exception") && reader.EndGroup());
  EXPECT_FALSE(reader.EndGroup()) << "no group is left open";
  ASSERT_EQ(chain.GetErrorCount(), 1);
  EXPECT_EQ(chain.GetError(0)->GetCode(), L"A.B:First");
  EXPECT_THAT(chain.GetError(0)->GetParameters(), ElementsAre(Pair(L"status", L"128")));
}

#if !defined(_WIN32)

TEST(ReadOnlyKeys, OnTheWayAreEnoughTheApplicationsIsForTheReaderAlone) {
  const OrdinaryUser user;
  const TestRegistry registry;
  const auto allow = [&](const char* key, bool writing) {
    using Perms = std::filesystem::perms;
    std::filesystem::permissions(
        registry.Store() / "HKEY_CURRENT_USER/software" / key,
        writing ? Perms::owner_all : Perms::owner_read | Perms::owner_exec);
  };
  IOutFilerTaggedRegistry writer(L"App");
  IInFilerTaggedRegistry reader(L"App", false);
  std::int32_t number = 0;
  ASSERT_TRUE(writer.BeginGroup(L"Panel") && writer.WriteInt(L"Count", 1));
  allow("", false);
  allow("velta", false);
  EXPECT_TRUE(writer.WriteInt(L"Count", 2));
  EXPECT_TRUE(reader.BeginGroup(L"Panel") && reader.ReadInt(L"Count", &number, 0));
  EXPECT_EQ(number, 2);
  EXPECT_FALSE(IOutFilerTaggedRegistry(L"New").WriteInt(L"Count", 1)) << "no key can be created";
  allow("velta/app", false);
  EXPECT_FALSE(writer.WriteInt(L"Count", 3)) << "though the group's key could be written";
  EXPECT_TRUE(reader.ReadInt(L"Count", &number, 0));
  EXPECT_EQ(number, 2);
  for (const char* const key : {"", "velta", "velta/app"}) {
    allow(key, true);
  }
}

TEST_F(RegistryFilers, NoKeyStaysOpenBetweenCalls) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = openFiles();
  std::int32_t number = 0;
  ASSERT_TRUE(writer.BeginGroup(L"Panel") && writer.WriteInt(L"Count", 1) &&
              reader.BeginGroup(L"Panel") && reader.ReadInt(L"Count", &number, 0));
  EXPECT_FALSE(reader.ReadInt(L"Missing", &number, 0));
  EXPECT_TRUE(writer.BeginGroup(MString(300, L'x')));
  EXPECT_FALSE(writer.WriteInt(L"Count", 1));
  EXPECT_EQ(openFiles(), before);
}

#endif

}  // namespace
