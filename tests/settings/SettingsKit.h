// SPDX-License-Identifier: MIT
#pragma once

#include "tests/settings/Versions.h"
#include "tests/support/RegistryKit.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/text/StandardText.h"

#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include <gtest/gtest.h>

/// A folder for one test, removed with what is in it.
class TestFolder {
 public:
  TestFolder() : path(std::filesystem::temp_directory_path() / UniqueKeyName()) {
    std::filesystem::create_directory(path);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  [[nodiscard]] std::set<std::filesystem::path> Names() const {
    std::set<std::filesystem::path> names;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      names.insert(entry.path().filename());
    }
    return names;
  }

  const std::filesystem::path path;
};

/// Writes it in place.
inline void PutBytes(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string GetBytes(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

inline MString TextOfPath(const std::filesystem::path& path) {
  return Velta::TextOf<std::filesystem::path>::Make(path);
}

/// Expects one error with this code and these parameters; the system's message may be there, too.
template <class Action>
void ExpectError(Action action, const MString& code, const std::map<MString, MString>& parameters) {
  SCOPED_TRACE(testing::PrintToString(code));
  try {
    action();
    FAIL() << "no error";
  } catch (const MException& exception) {
    ASSERT_EQ(exception.GetErrorCount(), 1);
    EXPECT_EQ(exception.GetError(0)->GetCode(), code);
    std::map<MString, MString> found = exception.GetError(0)->GetParameters();
    found.erase(L"winErrorMessage");
    EXPECT_EQ(found, parameters);
  }
}
