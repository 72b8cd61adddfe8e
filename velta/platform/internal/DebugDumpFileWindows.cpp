// SPDX-License-Identifier: MIT
#include "velta/platform/internal/DebugDumpFile.h"

#include <fstream>

std::unique_ptr<std::ostream> Velta::Platform::OpenDebugDumpFile() {
  auto file = std::make_unique<std::ofstream>(Velta::Platform::kDebugDumpPath,
                                              std::ios_base::out | std::ios_base::trunc);
  if (!file->is_open()) {
    return nullptr;
  }
  return file;
}
