// SPDX-License-Identifier: MIT
// Prints what the documents show of the XML form: every type of value, or a chain of errors.

#include "velta/errors/MException.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <iostream>
#include <string_view>

namespace {

bool WriteValues(IOutFilerTagged& filer) {
  return filer.WriteChar(L"Mark", 'x') && filer.WriteString(L"Title", L"A & B") &&
         filer.WriteDouble(L"Scale", 1.5) && filer.WriteFloat(L"Ratio", 0.1F) &&
         filer.WriteBool(L"Visible", true) && filer.WriteByte(L"Opacity", 255) &&
         filer.WriteUnsignedShort(L"Port", 65535) && filer.WriteShort(L"Offset", -2) &&
         filer.WriteUnsignedInt(L"Width", 4294967295) && filer.WriteInt(L"Count", 42) &&
         filer.BeginGroup(L"Panel") && filer.WriteString(L"Caption", L"") && filer.EndGroup() &&
         filer.BeginGroup(L"Empty") && filer.EndGroup() &&
         filer.WriteEmbeddedDocument(L"Template", L"<?xml version=\"1.0\"?><page size=\"4\"/>");
}

// An error that another component reported, with what led to it there as text.
class ImportError final : public MError {
 public:
  explicit ImportError(MString causeChain)
      : MError(L"Importer.Run:ImportFailed"), causes(std::move(causeChain)) {}

  ImportError* Clone() const noexcept override { return new (std::nothrow) ImportError(*this); }
  MString GetCauseChain() const override { return causes; }

 private:
  MString causes;
};

MString ChainText(const MException& chain) {
  MOutFilerTaggedXml filer(L"ExceptionChain", L"");
  MString text;
  return chain.Write(filer, L"Exception") && filer.GetText(&text) ? text : MString();
}

MString ExampleChain() {
  MError fault(L"Reader.Open:OpenFailed");
  fault.AddParameter(L"errno", 2);
  fault.AddParameter(L"name", L"a<b.txt");
  ImportError error(ChainText(MException(fault)));
  error.AddParameter(L"status", 0xC0000005U, true);
  return ChainText(MException(error));  // the causes first
}

}  // namespace

int main(int argc, char** argv) {
  MString text;
  if (argc > 1 && std::string_view(argv[1]) == "chain") {
    text = ExampleChain();
  } else {
    MOutFilerTaggedXml filer(L"Settings", L"urn:example:settings");
    if (!WriteValues(filer) || !filer.GetText(&text)) {
      return 1;
    }
  }
  std::wcout << text;
  return text.empty() ? 1 : 0;
}
