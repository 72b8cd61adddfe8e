// SPDX-License-Identifier: MIT
#include "tests/support/LoggedEvents.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const MString kParameter =
    L"<Parameter><Name type='string'>status</Name><Value type='string'>5</Value></Parameter>";

/// The element of an error "A.B:C" with these parameters.
MString ErrorElement(const MString& parameters) {
  return L"<Error><Code type='string'>A.B:C</Code>" + parameters + L"</Error>";
}

/// A reader that stands where these elements are.
MInFilerTaggedXml ReaderOf(const MString& elements) {
  return MInFilerTaggedXml(L"<Root>" + elements + L"</Root>", L"Root", L"");
}

TEST(MError, ParametersAreTextInOrderOfTheirNamesAndTheFirstOfANameStays) {
  MError error(L"A.B:C");
  error.AddParameter(L"status", std::uint32_t{0xFFFFFFFF}, false);
  error.AddParameter(L"status", L"second");
  error.AddParameter(L"errorMessage", std::int32_t{-2147483647 - 1});
  error.AddParameter(L"Name", L"text");
  error.AddParameter(L"hex", 42u, true);
  error.AddParameter(L"hexAll", 0xC0000005u, true);
  error.AddParameter(nullptr, L"unnamed");

  EXPECT_THAT(error.GetParameters(),
              ElementsAre(Pair(L"", L"unnamed"), Pair(L"Name", L"text"),
                          Pair(L"errorMessage", L"-2147483648"), Pair(L"hex", L"0000002ah"),
                          Pair(L"hexAll", L"c0000005h"), Pair(L"status", L"4294967295")));
}

TEST(MError, TheMessageIsTheCodeUnlessThereIsNoneOrMemoryRanOutAlsoInAClone) {
  EXPECT_EQ(MError().GetMessage(), L"Unspecified error");
  EXPECT_EQ(MError(L"A.B:C").GetMessage(), L"A.B:C");
  MInFilerTaggedXml reader = ReaderOf(ErrorElement(L""));
  MErrorOutOfMemory outOfMemory;
  ASSERT_TRUE(outOfMemory.Read(reader, L"Error"));
  EXPECT_EQ(outOfMemory.GetCode(), L"A.B:C");
  EXPECT_EQ(outOfMemory.GetMessage(), L"Out of memory");

  outOfMemory.AddParameter(L"n", L"v");
  const std::unique_ptr<MDynObject> clone(static_cast<const MDynObject&>(outOfMemory).Clone());
  ASSERT_NE(dynamic_cast<MErrorOutOfMemory*>(clone.get()), nullptr);
  EXPECT_EQ(dynamic_cast<MError&>(*clone).GetParameters(), outOfMemory.GetParameters());
  const std::unique_ptr<MDynObject> created(clone->CreateNew());
  EXPECT_EQ(&created->GetClassInfo(), &MErrorOutOfMemory::ClassInfo);
  EXPECT_THAT(dynamic_cast<MError&>(*created).GetParameters(), IsEmpty());
}

TEST(MError, ClassRecordsNameTheirBasesAndAreNamedInTheLog) {
  EXPECT_EQ(MDynObject::ClassInfo.base, nullptr);
  EXPECT_EQ(MError::ClassInfo.base, &MDynObject::ClassInfo);
  EXPECT_EQ(MString(MDynObject::ClassInfo.className), L"MDynObject");
  std::vector<std::string> names;
  for (const MClassInfo* const kind : {&MErrorOutOfMemory::ClassInfo, &MErrorInternal,
                                       &MErrorDivisionByZero, &MErrorBadInput, &MErrorUserEscape}) {
    EXPECT_EQ(kind->base, &MError::ClassInfo);
    EXPECT_TRUE(kind->IsA(MDynObject::ClassInfo));
    MFlowPoint point(kind->className, L"Sort");
    const std::vector<LoggedEvent> events = LogDuring([&] { point.LogConstruction(); });
    ASSERT_EQ(events.size(), 1U);
    names.push_back(events[0].className);
    EXPECT_EQ(MString(kind->className), MString(names.back().begin(), names.back().end()));
  }
  EXPECT_THAT(names, ElementsAre("MErrorOutOfMemory", "MErrorInternal", "MErrorDivisionByZero",
                                 "MErrorBadInput", "MErrorUserEscape"));
  EXPECT_FALSE(MError::ClassInfo.IsA(MErrorInternal));
}

/// Refuses every write after the first few.
class LimitedWriter : public MOutFilerTaggedXml {
 public:
  explicit LimitedWriter(int allowedWrites)
      : MOutFilerTaggedXml(L"Root", L""), left(allowedWrites) {}

  bool WriteString(const MString& tag, const MString& value) override {
    return left-- > 0 && MOutFilerTaggedXml::WriteString(tag, value);
  }
  bool BeginGroup(const MString& tag) override {
    return left-- > 0 && MOutFilerTaggedXml::BeginGroup(tag);
  }

 private:
  int left;
};

// Every write of a chain of two errors fails in turn: what follows is left out, and the elements
// that enclose the failing one are ended.
TEST(MException, AFailedWriteIsReportedAndItsElementsAreEnded) {
  MError parameterised(L"A.B:C");
  parameterised.AddParameter(L"a", L"1");
  MException exception(parameterised);
  exception.AddError(MError(L"D"));

  constexpr int kWrites = 8;  // 4 groups and 4 strings
  for (int allowed = 0; allowed <= kWrites; ++allowed) {
    LimitedWriter writer(allowed);
    EXPECT_EQ(exception.Write(writer, L"Exception"), allowed == kWrites) << allowed;
    EXPECT_FALSE(writer.EndGroup()) << allowed;
  }
  LimitedWriter empty(1);
  EXPECT_TRUE(MException().Write(empty, L"Exception"));
}

TEST(MError, ReadingStopsAtTheFirstIncompleteParameterAndNeedsACode) {
  const MString incomplete = L"<Parameter><Name type='string'>noValue</Name></Parameter>";
  const MString duplicate =
      L"<Parameter><Name type='string'>status</Name><Value type='string'>2</Value></Parameter>";
  for (const MString& more : {incomplete + duplicate, duplicate}) {
    MInFilerTaggedXml reader = ReaderOf(ErrorElement(kParameter + more));
    MError error;
    EXPECT_TRUE(error.Read(reader, L"Error"));
    EXPECT_THAT(error.GetParameters(), ElementsAre(Pair(L"status", L"5")));
    EXPECT_EQ(reader.EndGroup(), more != duplicate) << "an incomplete parameter is left unread";
  }

  MInFilerTaggedXml reader = ReaderOf(L"<Error/>");
  MError error(L"old");
  error.AddParameter(L"old", L"old");
  EXPECT_FALSE(error.Read(reader, L"Error"));
  EXPECT_EQ(error.GetCode(), L"");
  EXPECT_THAT(error.GetParameters(), IsEmpty());
  EXPECT_FALSE(reader.EndGroup()) << "the element without a code was not left";
}

/// An error whose clones cannot be had.
class UncloneableError : public MError {
 public:
  MError* Clone() const noexcept override { return nullptr; }
};

TEST(MException, HoldsClonesOldestFirstAndSkipsThoseThatCouldNotBeHad) {
  EXPECT_EQ(MException().GetErrorCount(), 0);
  EXPECT_EQ(MException().GetError(0), nullptr);

  const MErrorOutOfMemory first;
  MException exception(first);
  exception.AddError(UncloneableError());
  exception.AddError(MError(L"last"));
  ASSERT_EQ(exception.GetErrorCount(), 3);
  EXPECT_NE(exception.GetError(0), &first);
  EXPECT_EQ(exception.GetError(0)->GetMessage(), L"Out of memory");
  EXPECT_EQ(exception.GetError(1), nullptr);
  EXPECT_EQ(exception.GetError(2)->GetCode(), L"last");
  EXPECT_EQ(exception.GetError(-1), nullptr);
  EXPECT_EQ(exception.GetError(3), nullptr);

  const MException copy(exception);
  ASSERT_EQ(copy.GetErrorCount(), 2);
  EXPECT_NE(copy.GetError(1), exception.GetError(2));
  LimitedWriter writer(100);
  MString text;
  ASSERT_TRUE(exception.Write(writer, L"Exception") && writer.GetText(&text));
  MInFilerTaggedXml reader(text, L"Root", L"");
  ASSERT_TRUE(reader.BeginGroup(L"Exception") && exception.Read(reader, L"Exception"));
  ASSERT_EQ(exception.GetErrorCount(), 2);
  EXPECT_EQ(exception.GetError(1)->GetCode(), L"last");
  exception = MException(MError(L"other"));
  EXPECT_EQ(exception.GetErrorCount(), 1);
  EXPECT_EQ(copy.GetError(1)->GetCode(), L"last");
  EXPECT_STREQ(copy.what(), "Unknown exception");
}

TEST(MException, ReadTakesTheErrorsOfTheElementItStandsInUpToTheFirstUnreadable) {
  MInFilerTaggedXml reader = ReaderOf(ErrorElement(L"") + L"<Error/>" + ErrorElement(L""));
  MException exception(MError(L"old"));
  EXPECT_TRUE(exception.Read(reader, L"Exception"));
  ASSERT_EQ(exception.GetErrorCount(), 1);
  EXPECT_EQ(exception.GetError(0)->GetCode(), L"A.B:C");

  MInFilerTaggedXml empty = ReaderOf(L"");
  EXPECT_TRUE(exception.Read(empty, L"Exception"));
  EXPECT_EQ(exception.GetErrorCount(), 0);
}

}  // namespace
