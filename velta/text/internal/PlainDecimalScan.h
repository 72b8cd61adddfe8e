// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

namespace Velta::Text {

struct ScannedNumber {
  double value;
  const wchar_t* end;  ///< what follows the number in the text
};

/// Reads a number in plain decimal notation, several times faster than the C runtime does.
///
/// Whatever is not plain or not certain is left to the runtime: hexadecimal and spelled-out
/// numbers, numbers of very many digits, overflow and underflow, and every number on a thread that
/// does not round to nearest. Both round correctly, so the value does not depend on who reads it.
///
/// @param text              zero-terminated
/// @param decimalSeparator  what stands before the fraction
/// @return nothing when the number is for the runtime to read
std::optional<ScannedNumber> ScanPlainDecimal(const wchar_t* text,
                                              wchar_t decimalSeparator) noexcept;

}  // namespace Velta::Text
