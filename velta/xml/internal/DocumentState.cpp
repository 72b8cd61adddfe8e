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
  const ElementRecord& document = index.At(ElementId::kDocument);
  return !document.Has(kIllFormed) && document.firstChild != ElementId::kNone &&
         index.At(document.firstChild).nextSibling == ElementId::kNone;
}

}  // namespace Velta::Xml
