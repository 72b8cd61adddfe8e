// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/MXmlDocument.h"

#include <cstdio>
#include <string>
#include <string_view>

/// Writes the elements of a document as JSON, one object a line, in the order of their start tags:
/// {"depth":1,"name":"Count","attributes":[["type","int"]],"data":"42"}
///
/// Each line is written as soon as it is known, so the memory in use does not grow with the
/// document.
class JsonLines {
 public:
  explicit JsonLines(std::FILE* out) : out_(out) {}

  /// @return false when something could not be written
  [[nodiscard]] bool Write(MXmlDocument& document);

 private:
  void WriteElement(const MXmlDocument& document, int depth);
  void AppendString(std::wstring_view text);

  std::FILE* out_;
  std::string line_;
  MString name_;  // these two are kept for their capacity
  MString value_;
};
