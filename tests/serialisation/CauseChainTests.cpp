// SPDX-License-Identifier: MIT
#include "tests/support/SystemCallOverride.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <utility>

#include <gtest/gtest.h>

namespace {

/// An error that another component reported, with the chain that it sent along.
class ForeignError : public MError {
 public:
  explicit ForeignError(MString chain) : MError(L"Host.Run:Failed"), causes_(std::move(chain)) {}
  MString GetCauseChain() const override { return causes_; }

 private:
  MString causes_;
};

/// Two errors, the first with parameters.
MString ChainText(const wchar_t* root = L"ExceptionChain") {
  MError first(L"Disk.Read:Failed");
  first.AddParameter(L"winErrorCode", 5u, false);
  first.AddParameter(L"name", L"<&>");
  MException exception(first);
  exception.AddError(MError(L"File.Load:Unreadable"));
  MOutFilerTaggedXml filer(root, L"");
  MString text;
  EXPECT_TRUE(exception.Write(filer, L"Exception") && filer.GetText(&text));
  return text;
}

TEST(CauseChain, ThrowingAnErrorThatCarriesOneUnfoldsIt) {
  EXPECT_EQ(ChainText(),
            L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ExceptionChain>\n<Exception>\n<Error>\n"
            L"<Code type=\"string\">Disk.Read:Failed</Code>\n"
            L"<Parameter>\n<Name type=\"string\">name</Name>\n"
            L"<Value type=\"string\">&lt;&amp;&gt;</Value>\n</Parameter>\n"
            L"<Parameter>\n<Name type=\"string\">winErrorCode</Name>\n"
            L"<Value type=\"string\">5</Value>\n</Parameter>\n</Error>\n"
            L"<Error>\n<Code type=\"string\">File.Load:Unreadable</Code>\n</Error>\n"
            L"</Exception>\n</ExceptionChain>\n");
  const MException unfolded{ForeignError(ChainText())};
  ASSERT_EQ(unfolded.GetErrorCount(), 3);
  EXPECT_EQ(unfolded.GetError(0)->GetCode(), L"Disk.Read:Failed");
  EXPECT_EQ(unfolded.GetError(0)->GetParameters().at(L"name"), L"<&>");
  EXPECT_EQ(unfolded.GetError(1)->GetCode(), L"File.Load:Unreadable");
  EXPECT_EQ(unfolded.GetError(2)->GetCode(), L"Host.Run:Failed");
}

TEST(CauseChain, WhatCannotBeReadIsIgnored) {
  const auto expectAlone = [](const MString& chain) {
    const MException exception{ForeignError(chain)};
    ASSERT_EQ(exception.GetErrorCount(), 1) << chain;
    EXPECT_EQ(exception.GetError(0)->GetCode(), L"Host.Run:Failed");
  };
  const MString whole = ChainText();
  for (const MString& text : {MString(), MString(L"<ExceptionChain/>"), ChainText(L"Other"),
                              whole + L"<x/>", whole.substr(0, whole.size() / 2)}) {
    expectAlone(text);
  }
  const SystemCallOverride refuse(Velta::Platform::systemCalls.createLocale,
                                  [](const char*) -> _locale_t { return nullptr; });
  expectAlone(whole);
}

}  // namespace
