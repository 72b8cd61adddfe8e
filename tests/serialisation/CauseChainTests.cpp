// SPDX-License-Identifier: MIT
#include "tests/support/SystemCallOverride.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <gtest/gtest.h>

namespace {

/// An error that another component reported, with the chain that it sent along.
class ForeignError : public MError {
 public:
  ForeignError(const MString& errorCode, MString chain)
      : MError(errorCode), causes(std::move(chain)) {}
  MString GetCauseChain() const override { return causes; }

 private:
  MString causes;
};

MString ChainText(const MException& exception, const wchar_t* root = L"ExceptionChain") {
  MOutFilerTaggedXml filer(root, L"");
  EXPECT_TRUE(exception.Write(filer, L"Exception"));
  MString text;
  EXPECT_TRUE(filer.GetText(&text));
  return text;
}

MException TwoErrors() {
  MError first(L"Disk.Read:Failed");
  first.AddParameter(L"winErrorCode", 5u, false);
  first.AddParameter(L"name", L"<&>");
  MException exception(first);
  exception.AddError(MError(L"File.Load:Unreadable"));
  return exception;
}

TEST(CauseChain, ThrowingAnErrorThatCarriesOneUnfoldsIt) {
  const MException unfolded(ForeignError(L"Host.Run:Failed", ChainText(TwoErrors())));
  ASSERT_EQ(unfolded.GetErrorCount(), 3);
  EXPECT_EQ(unfolded.GetError(0)->GetCode(), L"Disk.Read:Failed");
  EXPECT_EQ(unfolded.GetError(0)->GetParameters(), TwoErrors().GetError(0)->GetParameters());
  EXPECT_EQ(unfolded.GetError(1)->GetCode(), L"File.Load:Unreadable");
  EXPECT_EQ(unfolded.GetError(2)->GetCode(), L"Host.Run:Failed");
}

TEST(CauseChain, ATextThatIsNoneIsIgnored) {
  const MString whole = ChainText(TwoErrors());
  const MString texts[] = {L"", L"<ExceptionChain/>", ChainText(TwoErrors(), L"Other"),
                           whole + L"<x/>", whole.substr(0, whole.size() / 2)};
  for (const MString& text : texts) {
    const MException exception(ForeignError(L"Host.Run:Failed", text));
    EXPECT_EQ(exception.GetErrorCount(), 1) << testing::PrintToString(text);
  }
}

TEST(CauseChain, WithoutALocaleTheErrorItselfIsStillReported) {
  const ForeignError error(L"Host.Run:Failed", ChainText(TwoErrors()));
  const SystemCallOverride refuse(Velta::Platform::systemCalls.createLocale,
                                  [](const char*) -> _locale_t { return nullptr; });
  const MException exception(error);
  ASSERT_EQ(exception.GetErrorCount(), 1);
  EXPECT_EQ(exception.GetError(0)->GetCode(), L"Host.Run:Failed");
}

TEST(MException, ReadStandsInTheElementThatWriteMade) {
  const MString text = ChainText(TwoErrors());
  EXPECT_EQ(text,
            L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ExceptionChain>\n<Exception>\n<Error>\n"
            L"<Code type=\"string\">Disk.Read:Failed</Code>\n"
            L"<Parameter>\n<Name type=\"string\">name</Name>\n"
            L"<Value type=\"string\">&lt;&amp;&gt;</Value>\n</Parameter>\n"
            L"<Parameter>\n<Name type=\"string\">winErrorCode</Name>\n"
            L"<Value type=\"string\">5</Value>\n</Parameter>\n</Error>\n"
            L"<Error>\n<Code type=\"string\">File.Load:Unreadable</Code>\n</Error>\n"
            L"</Exception>\n</ExceptionChain>\n");
  MInFilerTaggedXml filer(text, L"ExceptionChain", L"");
  MException read;
  EXPECT_TRUE(read.Read(filer, L"Exception"));
  EXPECT_EQ(read.GetErrorCount(), 0) << "not entered yet";
  ASSERT_TRUE(filer.BeginGroup(L"Exception"));
  EXPECT_TRUE(read.Read(filer, L"Exception"));
  EXPECT_EQ(read.GetErrorCount(), 2);
  EXPECT_TRUE(filer.EndGroup());
}

}  // namespace
