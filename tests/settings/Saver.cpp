// SPDX-License-Identifier: MIT
// Prints its process id, then saves one version after another, each of which it prints, until it is
// killed.
//
//   velta_settings_saver FILE FIRST-VERSION
#include "tests/settings/Versions.h"
#include "velta/settings/MSettingsFile.h"

#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <process.h>
int wmain(int /*count*/, wchar_t** values) {
  std::printf("%d\n", ::_getpid());
#else
#include <unistd.h>
int main(int /*count*/, char** values) {
  std::printf("%d\n", ::getpid());
#endif
  MSettingsFileOptions options;
  options.keepsPrevious = true;
  const MSettingsFile file(values[1], options);
  for (int version = std::stoi(values[2]); std::fflush(stdout) == 0; ++version) {
    file.SaveBytes(ContentOf(version));
    std::printf("%d\n", version);
  }
}
