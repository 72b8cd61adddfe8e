// SPDX-License-Identifier: MIT
#pragma once

#include "velta/text/MString.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// What a fuzzer's bytes mean: decisions first, then a text.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* bytes, std::size_t count) : data(bytes), size(count) {}

  /// The next byte; 0 when there is none left.
  std::uint8_t Byte() {
    if (size == 0) {
      return 0;
    }
    --size;
    return *data++;
  }

  bool IsEmpty() const { return size == 0; }

  /// At most `limit` of the bytes that are left as text, a character each. From 0xF0 on a byte
  /// makes a character outside Latin-1 with the next: lone surrogates and 0xFFFF are among them.
  MString Text(std::size_t limit = SIZE_MAX) {
    MString text;
    for (; limit > 0 && !IsEmpty(); --limit) {
      const unsigned byte = Byte();
      text += byte < 0xF0 ? static_cast<wchar_t>(byte)
                          : static_cast<wchar_t>((0xD0 + (byte & 0x0F) * 3) << 8 | Byte());
    }
    return text;
  }

 private:
  const std::uint8_t* data;
  std::size_t size;
};

/// Ends the run as a crash: what the fuzzer then keeps is the input that breaks the promise.
inline void Require(bool promise) {
  if (!promise) {
    std::abort();
  }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
