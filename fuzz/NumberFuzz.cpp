// SPDX-License-Identifier: MIT
// Any text as a number: where the C runtime reads one, ours is the same, bit for bit.
#include "fuzz/FuzzInput.h"
#include "velta/text/MLocale.h"
#include "velta/text/NumberText.h"

#include <cmath>
#include <cstdint>
#include <cstring>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MString text = FuzzInput(data, size).Text();
  const MLocale& classic = MLocale::GetClassic();
  const wchar_t* end = nullptr;
  const wchar_t* runtimeEnd = nullptr;
  const double value = ScanDouble(text.c_str(), &end, classic);
  const double runtimeValue = classic.ScanNumber(text.c_str(), &runtimeEnd);
  Require(end >= text.c_str() && end <= text.c_str() + text.size());
  Require(end >= runtimeEnd);
  const bool special = *runtimeEnd == L'#' || runtimeEnd == text.c_str();
  if (!special) {
    Require(end == runtimeEnd);
    Require(std::isnan(value) || std::memcmp(&value, &runtimeValue, sizeof value) == 0);
  }
  double parsed = 0.0;
  Require(ParseDouble(classic, text, &parsed) == (end != text.c_str()));
  return 0;
}
