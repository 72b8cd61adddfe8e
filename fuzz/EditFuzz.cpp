// SPDX-License-Identifier: MIT
// Any text, read and then edited: the index must be that of the text as it then is.
#include "fuzz/FuzzInput.h"
#include "fuzz/Outline.h"
#include "velta/xml/internal/DocumentAccess.h"

#include <cstddef>
#include <cstdint>

namespace {

bool EditOnce(MXmlDocument& document, FuzzInput& input) {
  const unsigned operation = input.Byte();
  const MString name = MString(1, L'a') + input.Text(operation % 3);
  const MString content = input.Text(input.Byte() % 8);
  switch (operation % 12) {
    case 0:
      return document.FindElement();
    case 1:
      return document.IntoElement();
    case 2:
      return document.OutOfElement();
    case 3:
      return document.AddElement(name, content);
    case 4:
      return document.AddElement(name, content, MXmlDocument::kAddCData);
    case 5:
      return document.AddElement(name, content, MXmlDocument::kAddAsChild);
    case 6:
      return document.SetAttribute(name, content);
    case 7:
      return document.AddNode(MXmlNodeType::kComment, content);
    case 8: {
      const MString xml = L"<x y='1'><z/>" + content + L"</x>";
      return operation < 128
                 ? document.AddChildDocument(xml)
                 : Velta::Xml::DocumentAccess::AddElementWithDocument(document, name, xml);
    }
    case 9:
      return document.RemoveElement();
    case 10:
      document.SavePosition();
      return true;
    default:
      return document.RestorePosition();
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  int edits = input.Byte() % 32;
  MXmlDocument document;
  static_cast<void>(document.SetText(input.Text(input.Byte())));
  for (; edits > 0; --edits) {
    static_cast<void>(EditOnce(document, input));
  }
  MXmlDocument fresh;
  const bool wellFormed = fresh.SetText(document.GetText());
  if (document.IsWellFormed()) {
    Require(wellFormed);
    Require(OutlineOf(document) == OutlineOf(fresh));
  } else {
    static_cast<void>(OutlineOf(document));
  }
  return 0;
}
