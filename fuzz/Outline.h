// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/MXmlDocument.h"

#include <cstdint>
#include <tuple>
#include <vector>

/// Where every element of a document is: depth, offset, length, name.
using Outline = std::vector<std::tuple<int, std::int32_t, std::int32_t, MString>>;

/// Walks the whole document and asks for everything there is on the way.
inline Outline OutlineOf(MXmlDocument& document) {
  Outline outline;
  int depth = 0;
  document.ResetPosition();
  for (;;) {
    if (document.FindElement()) {
      outline.emplace_back(depth, document.GetOffset(), document.GetLength(),
                           MString(document.GetTagName()));
      MString name;
      MString value;
      for (std::int32_t cursor = 0; document.GetNextAttribute(&cursor, &name, &value);) {
      }
      static_cast<void>(document.GetData(&value));
      depth += document.IntoElement() ? 1 : 0;
    } else if (document.OutOfElement()) {
      --depth;
    } else {
      return outline;
    }
  }
}
