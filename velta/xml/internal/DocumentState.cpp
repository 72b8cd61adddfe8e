// SPDX-License-Identifier: MIT
#include "velta/xml/internal/DocumentState.h"

#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/Parser.h"

namespace Velta::Xml {

bool DocumentState::IgnoresCase() const noexcept {
  return (flags & MXmlDocument::kIgnoreCase) != 0;
}

void DocumentState::Parse() { Xml::Parse(text, IgnoresCase(), index, errors); }

void DocumentState::BecomeEmpty() noexcept {
  text = MString();
  index.Clear();
  saved.Clear();
  position = Position();
}

bool IsWellFormed(const ElementIndex& index) noexcept {
  const std::int32_t root = index.At(0).firstChild;
  return !index.At(0).Has(kIllFormed) && root != 0 && index.At(root).nextSibling == 0;
}

}  // namespace Velta::Xml
