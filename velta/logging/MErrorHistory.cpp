// SPDX-License-Identifier: MIT
#include "velta/logging/MErrorHistory.h"

#include "velta/logging/internal/ErrorHistoryText.h"
#include "velta/logging/internal/ErrorRecords.h"
#include "velta/logging/internal/ErrorRing.h"
#include "velta/platform/internal/DebugDumpFile.h"

#include <fstream>
#include <ios>
#include <memory>
#include <ostream>

using namespace Velta::Logging;

static_assert(MErrorHistory::kCapacity == ErrorRing::kCapacity);

bool MErrorHistory::Dump(std::ostream& stream) noexcept {
  ErrorRecords::SetClockOf(ErrorRing::Instance());  // without an error nobody has yet
  return WriteErrorHistory(ErrorRing::Instance(), stream);
}

bool MErrorHistory::DumpToFile(const std::filesystem::path& file) noexcept {
  try {
    // Its lines end as documented everywhere: not in text mode.
    std::ofstream stream(file, std::ios_base::out | std::ios_base::trunc | std::ios_base::binary);
    return stream.is_open() && Dump(stream);
  } catch (...) {
    return false;
  }
}

bool MErrorHistory::DumpToFile() noexcept {
  try {
    const std::unique_ptr<std::ostream> stream =
        Velta::Platform::OpenDebugDumpFile(Velta::Platform::kDebugErrorsPath);
    return stream != nullptr && Dump(*stream);
  } catch (...) {
    return false;
  }
}
