// SPDX-License-Identifier: MIT
#include "velta/xml/MXmlDocument.h"

#include <cstdint>
#include <iostream>

namespace {

constexpr wchar_t kServers[] =
    LR"(<?xml version="1.0"?>
<!-- Edited by hand. -->
<Servers region="north">
  <Server name="first" port="8080">Ready &amp; waiting</Server>
  <Server name="second"/>
</Servers>
)";

void List(MXmlDocument& document) {
  document.ResetPosition();
  if (!document.FindElement(L"Servers") || !document.IntoElement()) {
    return;
  }
  while (document.FindElement(L"Server")) {
    std::wcout << document.GetAttribute(L"name") << L": " << document.GetData() << L'\n';
  }
  static_cast<void>(document.OutOfElement());
}

// What is not touched stays as it was written: the comment, the indentation, the reference.
bool Edit(MXmlDocument& document) {
  document.ResetPosition();
  return document.FindElement(L"Servers") && document.IntoElement() &&
         document.FindElement(L"Server") && document.SetAttribute(L"port", L"9090") &&
         document.FindElement(L"Server") && document.RemoveElement() &&
         document.AddElement(L"Server", L"<new>") && document.SetAttribute(L"name", L"third");
}

void ShowFault(const MString& text) {
  MXmlDocument document;
  if (document.SetText(text)) {
    return;
  }
  std::int32_t line = 0;
  std::int32_t column = 0;
  document.GetLineAndColumn(document.GetErrorOffset(), &line, &column);
  std::wcout << line << L':' << column << L": " << document.GetErrorText() << L'\n';
}

}  // namespace

int main() {
  MXmlDocument document;
  if (!document.SetText(kServers)) {
    return 1;
  }
  List(document);
  if (!Edit(document)) {
    return 1;
  }
  std::wcout << document.GetText();
  ShowFault(L"<Servers>\n  <Server>\n</Servers>\n");
}
