// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// What a node of an `MXmlDocument` is: one bit each, so that a search can name several with `|`.
enum class MXmlNodeType : std::int32_t {
  kNone = 0,  ///< there is no current node
  kElement = 1,
  kText = 2,
  kWhitespace = 4,  ///< text of nothing but blanks, tabs and line breaks
  kCData = 8,
  kProcessingInstruction = 16,  ///< the XML declaration included
  kComment = 32,
  kDocumentType = 64,
};

constexpr MXmlNodeType operator|(MXmlNodeType left, MXmlNodeType right) noexcept {
  return static_cast<MXmlNodeType>(static_cast<std::int32_t>(left) |
                                   static_cast<std::int32_t>(right));
}
