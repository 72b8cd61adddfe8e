// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/text/MString.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// What became of the bytes of an XML document.
struct MDecodedXml {
  enum class Fault : std::uint8_t {
    kNone,         ///< all bytes are decoded
    kMalformed,    ///< the bytes at `offset` are no character in `encoding`
    kUnsupported,  ///< nothing is decoded: `encoding` is not known here, or not the document's own
  };

  /// Without a byte order mark; with a fault, what stands before it.
  MString text;
  /// "UTF-8", "UTF-16LE", "UTF-16BE", "ISO-8859-1", "US-ASCII"; else "UTF-32", or what the document
  /// declares, in capital letters, its first 40 characters.
  MString encoding;
  Fault fault = Fault::kNone;
  std::size_t offset = 0;  ///< with `kMalformed`: in bytes from the start, the mark included
};

/// Decodes an XML document by its byte order mark, else by the encoding that its declaration names,
/// else as UTF-8.
///
/// Strict: a sequence that the encoding does not allow is a fault, never replaced. UTF-16 is known
/// without a mark by its first "<"; UTF-32 by either, and refused. Nothing else of the document is
/// looked at: whether it is well formed is for `MXmlDocument` to say.
///
/// Threads: any. Errors thrown: `std::bad_alloc`.
[[nodiscard]] VELTA_API MDecodedXml DecodeXml(std::string_view bytes);
