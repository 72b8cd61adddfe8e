// SPDX-License-Identifier: MIT
#include "StoredChain.h"

#include "velta/errors/MException.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <new>

namespace host {
namespace {

const wchar_t kRoot[] = L"ExceptionChain";
const wchar_t kChain[] = L"Exception";

/// Reads the chain that is in the group in which the filer stands.
bool ReadHere(IInFilerTagged& filer, MException& chain) {
  return filer.BeginGroup(kChain) && chain.Read(filer, kChain) && filer.EndGroup();
}

}  // namespace

bool WriteChain(IOutFilerTagged& filer, const MString& tag, const MException& chain) {
  MOutFilerTaggedXml document(kRoot, MString());
  MString text;
  if (!chain.Write(document, kChain) || !document.GetText(&text)) {
    return false;
  }
  // A filer that can nest documents can also tell groups of one name apart; others refuse it.
  return filer.WriteEmbeddedDocument(tag, text) || filer.WriteString(tag, text);
}

bool ReadChain(IInFilerTagged& filer, const MString& tag, MException& chain) {
  if (!filer.HasUniqueGroupNames()) {
    return filer.BeginGroup(tag) && filer.BeginGroup(kRoot) && ReadHere(filer, chain) &&
           filer.EndGroup() && filer.EndGroup();
  }
  MString text;
  if (!filer.ReadString(tag, &text, MString())) {
    return false;
  }
  MInFilerTaggedXml document(text, kRoot, MString());
  if (document.GetFault().kind == MInFilerTaggedXml::FaultKind::kMemory) {
    throw std::bad_alloc();
  }
  return ReadHere(document, chain);
}

}  // namespace host
