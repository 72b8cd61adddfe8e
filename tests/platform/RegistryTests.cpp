// SPDX-License-Identifier: MIT
// The registry's calls as far as the framework uses them.
#include "PlatformKit.h"
#include "tests/support/RegistryKit.h"
#include "tests/support/StressScale.h"
#include "tests/support/Watchdog.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

const StoredValue kMissing{ERROR_FILE_NOT_FOUND, 0, {}};

class Registry : public testing::Test {
 protected:
  const TestRegistry registry;
  const TestKey key{HKEY_CURRENT_USER, L"Software\\" + UniqueKeyName(), KEY_READ | KEY_WRITE,
                    TestKey::Afterwards::kIsRemoved};
};

TEST_F(Registry, AQueryTellsTypeAndSizeAndRefusesABufferThatIsTooSmall) {
  ASSERT_EQ(Store(key, L"Value", 0x1234, {}), ERROR_SUCCESS);
  EXPECT_EQ(Stored(key, L"Value"), (StoredValue{ERROR_SUCCESS, 0x1234, {}}));
  ASSERT_EQ(Store(key, L"Value", REG_BINARY, {1, 2, 3, 4, 5}), ERROR_SUCCESS);
  DWORD type = 0;
  DWORD size = 4;
  BYTE data[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  const auto query = [&](const wchar_t* name, BYTE* buffer, DWORD* bufferSize) {
    return ::RegQueryValueExW(key, name, nullptr, &type, buffer, bufferSize);
  };
  EXPECT_EQ(query(L"Value", nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(query(L"Value", data, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 5U);
  size = sizeof data;
  EXPECT_EQ(query(L"Value", data, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 5U);
  EXPECT_THAT(data, testing::ElementsAre(1, 2, 3, 4, 5, 9, 9, 9)) << "nothing after the data";
  EXPECT_EQ(query(L"Missing", data, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(query(L"Value", data, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, NamesAreEqualWithoutCase) {
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"Count", L"cOUNT"},
      {L"\u00C4rger", L"\u00E4RGER"},
      {L"\u0416\u0423\u041A", L"\u0436\u0443\u043A"}};
  for (const auto& [one, other] : cases) {
    ASSERT_EQ(Store(key, one, REG_DWORD, BytesOf(1)), ERROR_SUCCESS);
    ASSERT_EQ(Store(key, other, REG_DWORD, BytesOf(2)), ERROR_SUCCESS);
    EXPECT_EQ(Stored(key, one).data, BytesOf(2)) << testing::PrintToString(one);
    ASSERT_EQ(Created(key, one), ERROR_SUCCESS);
    EXPECT_EQ(Opened(key, other), ERROR_SUCCESS) << testing::PrintToString(one);
  }
  EXPECT_EQ(Stored(key, L"\u00C3rger"), kMissing);
}

TEST_F(Registry, AnyNameIsANameOfItsOwn) {
  const std::wstring most(254, L'x');
  const std::wstring widest(254, L'\u00DF');
  const std::wstring names[] = {
      L".",       L"..",     L"../..",      L"/",        L"a/b",      L"a%2fb",      L"a.value",
      L"@",       L".name",  L"nul",        L" ",        L"a ",       L"*?\"<>|",    L"\u4E2D",
      L"@.value", L"a.new0", L"\u0001\n\t", most + L"1", most + L"2", L"1" + widest, L"2" + widest};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    ASSERT_EQ(Store(key, names[i].c_str(), REG_DWORD, BytesOf(i)), ERROR_SUCCESS) << i;
    const TestKey below(key, names[i]);
    ASSERT_EQ(Store(below, L"Number", REG_DWORD, BytesOf(i)), ERROR_SUCCESS) << i;
  }
  for (std::size_t i = 0; i < std::size(names); ++i) {
    EXPECT_EQ(Stored(key, names[i].c_str()).data, BytesOf(i)) << testing::PrintToString(names[i]);
    const TestKey below(key, names[i], KEY_READ);
    EXPECT_EQ(Stored(below, L"Number").data, BytesOf(i)) << testing::PrintToString(names[i]);
  }
}

TEST_F(Registry, NamesHaveALongestLengthAndThoseOfValuesAreNoPaths) {
  EXPECT_EQ(Created(key, std::wstring(255, L'k').c_str()), ERROR_SUCCESS);
  EXPECT_EQ(Created(key, std::wstring(300, L'k').c_str()), ERROR_INVALID_PARAMETER);
  const std::wstring longest(16383, L'v');
  EXPECT_EQ(Store(key, longest.c_str(), REG_DWORD, BytesOf(1)), ERROR_SUCCESS);
  EXPECT_EQ(Stored(key, longest.c_str()).data, BytesOf(1));
  EXPECT_EQ(Stored(key, longest.substr(1).c_str()), kMissing);
  EXPECT_NE(Store(key, (longest + L"v").c_str(), REG_DWORD, BytesOf(1)), ERROR_SUCCESS);

  ASSERT_EQ(Store(key, nullptr, REG_DWORD, BytesOf(2)), ERROR_SUCCESS);  // the default value
  EXPECT_EQ(Stored(key, L"").data, BytesOf(2));
  ASSERT_EQ(Store(key, L"Back\\slash", REG_DWORD, BytesOf(3)), ERROR_SUCCESS);
  EXPECT_EQ(Stored(key, L"Back\\slash").data, BytesOf(3));
  EXPECT_EQ(Opened(key, L"Back"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, APathLeadsThroughKeysAndCreatesThem) {
  EXPECT_EQ(Opened(key, L"A"), ERROR_FILE_NOT_FOUND) << "opening creates nothing";
  DWORD disposition = 0;
  EXPECT_EQ(Created(key, L"A\\B\\C", &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, DWORD{REG_CREATED_NEW_KEY});
  EXPECT_EQ(Created(key, L"a\\b", &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, DWORD{REG_OPENED_EXISTING_KEY});
  EXPECT_EQ(Opened(key, L"A\\\\B\\C\\"), ERROR_SUCCESS) << "more separators are one";
  EXPECT_EQ(Opened(key, L"\\A"), ERROR_BAD_PATHNAME);
  EXPECT_EQ(Opened(key, L""), ERROR_SUCCESS);
  EXPECT_EQ(Opened(key, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(Opened(HKEY_LOCAL_MACHINE, L"Software\\Wow6432Node"), ERROR_SUCCESS);
}

TEST_F(Registry, AKeyCanDoWhatItWasOpenedFor) {
  ASSERT_EQ(Store(key, L"Value", REG_DWORD, BytesOf(1)), ERROR_SUCCESS);
  const TestKey reader(key, L"", KEY_READ);
  const TestKey writer(key, L"", KEY_WRITE);
  EXPECT_EQ(Store(reader, L"Value", REG_DWORD, BytesOf(2)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Stored(writer, L"Value").status, ERROR_ACCESS_DENIED);
  EXPECT_EQ(Store(writer, L"Value", REG_DWORD, BytesOf(3)), ERROR_SUCCESS);
  EXPECT_EQ(Stored(reader, L"Value").data, BytesOf(3));
  EXPECT_EQ(Created(reader, L"Below"), ERROR_SUCCESS) << "the parent's permissions count";
}

TEST_F(Registry, AHandleThatIsNoOpenKeyIsRefused) {
  const Event event(Event::kManual);  // before: it must not get the closed handle's value
  HKEY closed = nullptr;
  ASSERT_EQ(::RegOpenKeyExW(key, nullptr, 0, KEY_READ, &closed), ERROR_SUCCESS);
  EXPECT_EQ(::RegCloseKey(closed), ERROR_SUCCESS);
  for (const HKEY handle :
       {closed, static_cast<HKEY>(nullptr), reinterpret_cast<HKEY>(static_cast<HANDLE>(event)),
        reinterpret_cast<HKEY>(std::uintptr_t{0x7FFFFFFF})}) {
    EXPECT_EQ(Store(handle, L"Value", REG_DWORD, BytesOf(1)), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Stored(handle, L"Value").status, ERROR_INVALID_HANDLE);
    EXPECT_EQ(Opened(handle, L"Below"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Created(handle, L"Below"), ERROR_INVALID_HANDLE);
  }
  EXPECT_EQ(::RegCloseKey(closed), ERROR_INVALID_HANDLE);
  EXPECT_EQ(::RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
  EXPECT_EQ(::RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS) << "never closed, and never refused";
  EXPECT_EQ(Opened(HKEY_CURRENT_USER, L"Software"), ERROR_SUCCESS);
}

// Each writes a long and a short value in turn: whoever reads sees one of them, whole.
TEST_F(Registry, ConcurrentWritersLeaveAWholeValue) {
  const Watchdog watchdog("writers and a reader of one value", std::chrono::seconds(250));
  ASSERT_EQ(Store(key, L"Value", REG_BINARY, {0}), ERROR_SUCCESS);
  std::vector<std::thread> writers;
  std::atomic<int> running{4};
  for (BYTE letter = 'a'; letter < 'e'; ++letter) {
    writers.emplace_back([&, letter] {
      for (int round = StressRounds(500); round > 0; --round) {
        const std::vector<BYTE> data(round % 2 == 0 ? 20'000 : 7, letter);
        EXPECT_EQ(Store(key, L"Value", REG_BINARY, data), ERROR_SUCCESS);
      }
      --running;
    });
  }
  while (running != 0) {
    std::vector<BYTE> data(20'000);
    DWORD size = 20'000;
    ASSERT_EQ(::RegQueryValueExW(key, L"Value", nullptr, nullptr, data.data(), &size),
              ERROR_SUCCESS);
    ASSERT_TRUE(size == 1 || size == 7 || size == 20'000) << size;
    data.resize(size);
    ASSERT_THAT(data, testing::Each(data[0]));
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
}

}  // namespace
