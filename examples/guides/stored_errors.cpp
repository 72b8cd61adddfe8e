// SPDX-License-Identifier: MIT
#include "velta/errors/Describe.h"
#include "velta/errors/MException.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/serialisation/StandardValues.h"

#include <iostream>

namespace {

MException Failure() {
  MError cause(L"Copier.Copy:NotCopied");
  cause.AddParameter(L"file", L"plan.txt");
  cause.AddParameter(L"bytes", 5'000'000'000);
  MException chain(cause);
  chain.AddError(MError(L"Backup.Run:Incomplete"));
  return chain;
}

MString Store(const MException& failure) {
  MOutFilerTaggedXml filer(L"Report", L"");
  MString text;
  return Write(filer, L"LastFailure", failure) && filer.GetText(&text) ? text : MString();
}

MException Load(const MString& text) {
  MInFilerTaggedXml filer(text, L"Report", L"");
  MException failure;
  return Read(filer, L"LastFailure", failure) ? failure : MException();
}

}  // namespace

int main() {
  const MString text = Store(Failure());
  std::wcout << text << L'\n' << Describe(Load(text)) << L"\n\n";
  std::wcout << L"On one line: " << DescribeOnOneLine(Load(text)) << L'\n';
}
