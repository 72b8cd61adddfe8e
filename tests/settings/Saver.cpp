// SPDX-License-Identifier: MIT
// Saves one version after another and reports each to its output, until it is killed.
//
//   velta_settings_saver FILE FIRST-VERSION
#include "tests/settings/Versions.h"
#include "velta/settings/MSettingsFile.h"

#include <cstdio>
#include <filesystem>
#include <string>

#if defined(_WIN32)
int wmain(int count, wchar_t** values) {
#else
int main(int count, char** values) {
#endif
  if (count != 3) {
    return 2;
  }
  MSettingsFileOptions options;
  options.keepsPrevious = true;
  const MSettingsFile file(values[1], options);
  for (int version = std::stoi(values[2]);; ++version) {
    file.SaveBytes(ContentOf(version));
    std::printf("%d\n", version);
    if (std::fflush(stdout) != 0) {
      return 1;
    }
  }
}
