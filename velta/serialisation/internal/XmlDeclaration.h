// SPDX-License-Identifier: MIT
#pragma once

#include "velta/xml/MXmlDocument.h"

namespace Velta::Serialisation {

/// Writes the line with which every document of the filers begins. @return whether it is there
inline bool AddXmlDeclaration(MXmlDocument& document) {
  return document.AddNode(MXmlNodeType::kProcessingInstruction, L"xml") &&
         document.SetAttribute(L"version", L"1.0") && document.SetAttribute(L"encoding", L"UTF-8");
}

}  // namespace Velta::Serialisation
