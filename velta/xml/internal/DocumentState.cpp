// SPDX-License-Identifier: MIT
#include "velta/xml/internal/DocumentState.h"

#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/Characters.h"
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

std::wstring_view DocumentState::NameOf(std::int32_t element) const noexcept {
  return NameAt(text.data() + index.At(element).start + 1);
}

std::int32_t DocumentState::ContentBegin(std::int32_t element) const noexcept {
  return element == 0 ? 0 : index.At(element).start + index.GetTagLengths(element).start;
}

std::int32_t DocumentState::ContentEnd(std::int32_t element) const noexcept {
  return element == 0 ? static_cast<std::int32_t>(text.size())
                      : index.At(element).End() - index.GetTagLengths(element).end;
}

bool IsWellFormed(const ElementIndex& index) noexcept {
  const std::int32_t root = index.At(0).firstChild;
  return !index.At(0).Has(kIllFormed) && root != 0 && index.At(root).nextSibling == 0;
}

}  // namespace Velta::Xml
