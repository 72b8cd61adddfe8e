// SPDX-License-Identifier: MIT
#include "velta/platform/internal/DebugDumpFile.h"

#include <fstream>

std::unique_ptr<std::ostream> Velta::Platform::OpenDebugDumpFile(const char* path) {
  auto file = std::make_unique<std::ofstream>(path, std::ios_base::out | std::ios_base::trunc);
  if (!file->is_open()) {
    return nullptr;
  }
  return file;
}
