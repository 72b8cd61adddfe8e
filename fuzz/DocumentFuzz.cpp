// SPDX-License-Identifier: MIT
// Any text: it is read, judged and walked.
#include "fuzz/FuzzInput.h"
#include "fuzz/Outline.h"

#include <cstddef>
#include <cstdint>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MString text = FuzzInput(data, size).Text();
  MXmlDocument document;
  const bool wellFormed = document.SetText(text);
  Require(wellFormed == document.IsWellFormed());
  Require(wellFormed == document.GetErrorText().empty());
  Require(document.GetText() == text);

  std::int32_t line = 0;
  std::int32_t column = 0;
  document.GetLineAndColumn(document.GetErrorOffset(), &line, &column);
  Require(line >= 1 && column >= 1);

  for (const auto& [depth, offset, length, name] : OutlineOf(document)) {
    Require(depth >= 0 && offset >= 0 && length > 0);
    Require(static_cast<std::size_t>(offset) + static_cast<std::size_t>(length) <= text.size());
    Require(text[static_cast<std::size_t>(offset)] == L'<');
  }
  return 0;
}
