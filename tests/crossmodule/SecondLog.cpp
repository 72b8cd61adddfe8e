// SPDX-License-Identifier: MIT
// A module that was built with a copy of the framework of its own.
#include "tests/crossmodule/Module.h"
#include "velta/logging/MFlowLogger.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <utility>

VELTA_TEST_EXPORT MFlowLogger* SecondLog() { return MFlowLogger::Instance(); }

/// Dumps this module's log into the caller's memory: as much as fits, and the length of it all.
VELTA_TEST_EXPORT std::size_t DumpSecondLog(char* buffer, std::size_t size) {
  std::ostringstream stream;
  MFlowLogger::Instance()->Dump(stream);
  const std::string text = std::move(stream).str();
  std::copy_n(text.data(), (std::min)(size, text.size()), buffer);
  return text.size();
}
