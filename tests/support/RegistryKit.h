// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <random>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// A key name that no other test uses, nor another run of this one at the same time.
inline std::wstring UniqueKeyName() {
  std::random_device random;
  return L"VeltaTest-" + std::to_wstring(random()) + L"-" + std::to_wstring(random());
}

inline void SetVariable(const char* name, const std::string& value) {
#if defined(_WIN32)
  ::_putenv_s(name, value.c_str());
#else
  ::setenv(name, value.c_str(), 1);
#endif
}

/// The registry for one test: on Linux a store of its own, on Windows the user's own.
class TestRegistry {
 public:
#if defined(_WIN32)
  TestRegistry() = default;
  ~TestRegistry() = default;
#else
  TestRegistry() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velta-XXXXXX").string();
    store = ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    EXPECT_FALSE(store.empty());
    SetVariable("VELTA_REGISTRY", store.string());
  }
  ~TestRegistry() {
    ::unsetenv("VELTA_REGISTRY");
    std::error_code ignored;
    std::filesystem::remove_all(store, ignored);
  }

  /// The store's folder.
  [[nodiscard]] const std::filesystem::path& Store() const { return store; }

 private:
  std::filesystem::path store;

 public:
#endif
  TestRegistry(const TestRegistry&) = delete;
  TestRegistry& operator=(const TestRegistry&) = delete;
};

/// An open key, and what was stored below it removed in the end if that is asked for.
class TestKey {
 public:
  enum class Afterwards : bool { kStays, kIsRemoved };

  TestKey(HKEY parent, std::wstring name, REGSAM access = KEY_READ | KEY_WRITE,
          Afterwards afterwards = Afterwards::kStays)
      : above(parent), path(std::move(name)), isRemoved(afterwards == Afterwards::kIsRemoved) {
    EXPECT_EQ(::RegCreateKeyExW(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                                nullptr, &key, nullptr),
              ERROR_SUCCESS);
  }
  TestKey(const TestKey&) = delete;
  TestKey& operator=(const TestKey&) = delete;
  ~TestKey() {
    ::RegCloseKey(key);
#if defined(_WIN32)
    if (isRemoved) {
      ::RegDeleteTreeW(above, path.c_str());  // elsewhere the store itself goes
    }
#endif
  }

  operator HKEY() const { return key; }

 private:
  const HKEY above;
  const std::wstring path;
  [[maybe_unused]] const bool isRemoved;
  HKEY key = nullptr;
};

/// What a value holds, or why it could not be read.
struct StoredValue {
  LSTATUS status = 0;
  DWORD type = 0;
  std::vector<BYTE> data;

  bool operator==(const StoredValue&) const = default;
  friend void PrintTo(const StoredValue& value, std::ostream* out) {
    *out << "status " << value.status << ", type " << value.type << ", "
         << testing::PrintToString(value.data);
  }
};

inline StoredValue Stored(HKEY key, const wchar_t* name) {
  StoredValue value;
  DWORD size = 0;
  value.status = ::RegQueryValueExW(key, name, nullptr, &value.type, nullptr, &size);
  if (value.status != ERROR_SUCCESS) {
    return {value.status, 0, {}};
  }
  value.data.resize(size + 1);  // so that there is a pointer for no data
  value.status = ::RegQueryValueExW(key, name, nullptr, &value.type, value.data.data(), &size);
  value.data.resize(size);
  return value;
}

/// The bytes of a number or of a text with its terminator.
template <class T>
std::vector<BYTE> BytesOf(const T& value) {
  const auto* const bytes = reinterpret_cast<const BYTE*>(&value);
  return std::vector<BYTE>(bytes, bytes + sizeof value);
}
inline std::vector<BYTE> BytesOf(const std::wstring& text) {
  const auto* const bytes = reinterpret_cast<const BYTE*>(text.c_str());
  return std::vector<BYTE>(bytes, bytes + (text.size() + 1) * sizeof(wchar_t));
}

inline LSTATUS Store(HKEY key, const wchar_t* name, DWORD type, const std::vector<BYTE>& data) {
  return ::RegSetValueExW(key, name, 0, type, data.data(), static_cast<DWORD>(data.size()));
}

/// Opens a key and closes it again. @return how opening it ended
inline LSTATUS Opened(HKEY parent, const wchar_t* name, REGSAM access = KEY_READ) {
  HKEY key = nullptr;
  const LSTATUS status = ::RegOpenKeyExW(parent, name, 0, access, &key);
  EXPECT_EQ(status == ERROR_SUCCESS, key != nullptr);
  if (status == ERROR_SUCCESS) {
    ::RegCloseKey(key);
  }
  return status;
}

inline LSTATUS Created(HKEY parent, const wchar_t* name, DWORD* disposition = nullptr) {
  HKEY key = nullptr;
  const LSTATUS status = ::RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                           KEY_READ, nullptr, &key, disposition);
  if (status == ERROR_SUCCESS) {
    ::RegCloseKey(key);
  }
  return status;
}
