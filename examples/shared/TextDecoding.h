// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What became of a file's bytes.
struct DecodedText {
  std::wstring text;     ///< without a byte order mark
  std::string encoding;  ///< the one that was used: "UTF-8", "UTF-16LE", "UTF-16BE", "ISO-8859-1"
  std::string problem;   ///< empty when all bytes were decoded; else what is wrong, and where
};

/// Decodes an XML file by its byte order mark, else by the encoding that its declaration names,
/// else as UTF-8. Strict: a sequence that the encoding does not allow is a problem, never replaced.
/// UTF-32 is known by its mark or its first character, and refused.
DecodedText DecodeXml(std::string_view bytes);
