// SPDX-License-Identifier: MIT
#include "tests/support/MemoryFiler.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"

#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Pair;

MemoryNode WellFormedError() {
  return MemoryNode::Group(L"Error",
                           {MemoryNode::Value(L"Code", L"A.B:C"),
                            MemoryNode::Group(L"Parameter", {MemoryNode::Value(L"Name", L"status"),
                                                             MemoryNode::Value(L"Value", L"5")})});
}

TEST(MError, ParametersAreTextInOrderOfTheirNamesAndTheFirstOfANameStays) {
  MError error(L"A.B:C");
  error.AddParameter(L"status", std::uint32_t{0xFFFFFFFF}, false);
  error.AddParameter(L"status", L"second");
  error.AddParameter(L"errorMessage", std::int32_t{-2147483647 - 1});
  error.AddParameter(L"Name", L"text");
  error.AddParameter(L"hex", 42u, true);
  error.AddParameter(L"hex0", 0u, true);
  error.AddParameter(L"hexAll", 0xC0000005u, true);
  error.AddParameter(nullptr, L"unnamed");

  EXPECT_THAT(error.GetParameters(),
              ElementsAre(Pair(L"", L"unnamed"), Pair(L"Name", L"text"),
                          Pair(L"errorMessage", L"-2147483648"), Pair(L"hex", L"0000002ah"),
                          Pair(L"hex0", L"00000000h"), Pair(L"hexAll", L"c0000005h"),
                          Pair(L"status", L"4294967295")));
}

TEST(MError, TheMessageIsTheCodeUnlessThereIsNoneOrMemoryRanOut) {
  EXPECT_EQ(MError().GetMessage(), L"Unspecified error");
  EXPECT_EQ(MError(L"A.B:C").GetMessage(), L"A.B:C");

  const MemoryNode root = MemoryNode::Group(L"", {WellFormedError()});
  MemoryReader reader(root);
  MErrorOutOfMemory outOfMemory;
  ASSERT_TRUE(outOfMemory.Read(reader, L"Error"));
  EXPECT_EQ(outOfMemory.GetCode(), L"A.B:C");
  EXPECT_EQ(outOfMemory.GetMessage(), L"Out of memory");
}

TEST(MError, CloneAndCreateNewKeepTheClass) {
  MErrorOutOfMemory outOfMemory;
  outOfMemory.AddParameter(L"n", L"v");
  const std::unique_ptr<MDynObject> clone(static_cast<const MDynObject&>(outOfMemory).Clone());
  ASSERT_NE(dynamic_cast<MErrorOutOfMemory*>(clone.get()), nullptr);
  EXPECT_EQ(dynamic_cast<MError&>(*clone).GetParameters(), outOfMemory.GetParameters());

  const std::unique_ptr<MDynObject> created(clone->CreateNew());
  EXPECT_EQ(&created->GetClassInfo(), &MErrorOutOfMemory::ClassInfo);
  EXPECT_TRUE(dynamic_cast<MError&>(*created).GetParameters().empty());
}

TEST(MError, ClassRecordsNameTheirBases) {
  EXPECT_EQ(MDynObject::ClassInfo.base, nullptr);
  EXPECT_EQ(MError::ClassInfo.base, &MDynObject::ClassInfo);
  EXPECT_EQ(MString(MDynObject::ClassInfo.className), L"MDynObject");
  const std::pair<const MClassInfo*, const wchar_t*> kinds[] = {
      {&MErrorOutOfMemory::ClassInfo, L"MErrorOutOfMemory"},
      {&MErrorInternal, L"MErrorInternal"},
      {&MErrorDivisionByZero, L"MErrorDivisionByZero"},
      {&MErrorBadInput, L"MErrorBadInput"},
      {&MErrorUserEscape, L"MErrorUserEscape"}};
  for (const auto& [record, name] : kinds) {
    EXPECT_EQ(MString(record->className), name);
    EXPECT_EQ(record->base, &MError::ClassInfo);
    EXPECT_TRUE(record->IsA(MDynObject::ClassInfo));
  }
  EXPECT_FALSE(MError::ClassInfo.IsA(MErrorInternal));
}

TEST(MError, IsWrittenAsCodeThenParametersAndReadBack) {
  MError error(L"A.B:C");
  error.AddParameter(L"z", L"1");
  error.AddParameter(L"a", L"");
  MemoryWriter writer;
  ASSERT_TRUE(error.Write(writer, L"Error"));
  EXPECT_EQ(writer.Root().Describe(),
            L"{Error{Code=A.B:C;Parameter{Name=a;Value=;}Parameter{Name=z;Value=1;}}}");

  MemoryReader reader(writer.Root());
  MError read(L"old");
  read.AddParameter(L"old", L"old");
  ASSERT_TRUE(read.Read(reader, L"Error"));
  EXPECT_EQ(read.GetCode(), error.GetCode());
  EXPECT_EQ(read.GetParameters(), error.GetParameters());
  EXPECT_FALSE(read.Read(reader, L"Error")) << "there was one only";
}

// Every write of a chain of two errors fails in turn: what follows is left out, and the elements
// that enclose the failing one are ended.
TEST(MException, AFailedWriteIsReportedAndItsElementsAreEnded) {
  MError parameterised(L"A.B:C");
  parameterised.AddParameter(L"a", L"1");
  MException exception(parameterised);
  exception.AddError(MError(L"D"));

  constexpr int kOperations = 8;  // 4 groups and 4 strings
  for (int successes = 0; successes < kOperations; ++successes) {
    MemoryWriter writer(successes);
    EXPECT_FALSE(exception.Write(writer, L"Exception")) << successes;
    EXPECT_EQ(writer.Depth(), 0u) << successes;
  }
  MemoryWriter writer(kOperations);
  EXPECT_TRUE(exception.Write(writer, L"Exception"));
}

TEST(MError, ReadingStopsAtTheFirstIncompleteParameterAndNeedsACode) {
  MemoryNode incomplete = WellFormedError();
  incomplete.children.push_back(
      MemoryNode::Group(L"Parameter", {MemoryNode::Value(L"Name", L"noValue")}));
  incomplete.children.push_back(MemoryNode::Group(
      L"Parameter",
      {MemoryNode::Value(L"Name", L"after"), MemoryNode::Value(L"Value", L"unread")}));
  MemoryNode duplicate = WellFormedError();
  duplicate.children.push_back(MemoryNode::Group(
      L"Parameter",
      {MemoryNode::Value(L"Name", L"status"), MemoryNode::Value(L"Value", L"second")}));
  for (const MemoryNode& node : {incomplete, duplicate}) {
    const MemoryNode root = MemoryNode::Group(L"", {node});
    MemoryReader reader(root);
    MError error;
    EXPECT_TRUE(error.Read(reader, L"Error"));
    EXPECT_THAT(error.GetParameters(), ElementsAre(Pair(L"status", L"5")));
  }

  const MemoryNode noCode = MemoryNode::Group(L"", {MemoryNode::Group(L"Error", {})});
  MemoryReader reader(noCode);
  MError error(L"old");
  error.AddParameter(L"old", L"old");
  EXPECT_FALSE(error.Read(reader, L"Error"));
  EXPECT_TRUE(error.GetCode().empty());
  EXPECT_TRUE(error.GetParameters().empty());
  EXPECT_FALSE(reader.EndGroup()) << "the element without a code was not left";
}

TEST(MException, HoldsClonesOldestFirst) {
  EXPECT_EQ(MException().GetErrorCount(), 0);
  EXPECT_EQ(MException().GetError(0), nullptr);

  const MErrorOutOfMemory first;
  const MError second(L"second");
  MException exception(first);
  exception.AddError(second);
  ASSERT_EQ(exception.GetErrorCount(), 2);
  EXPECT_NE(exception.GetError(0), &first);
  EXPECT_EQ(exception.GetError(0)->GetMessage(), L"Out of memory");
  EXPECT_EQ(exception.GetError(1)->GetCode(), L"second");
  EXPECT_EQ(exception.GetError(-1), nullptr);
  EXPECT_EQ(exception.GetError(2), nullptr);

  const MException copy(exception);
  EXPECT_NE(copy.GetError(1), exception.GetError(1));
  exception = MException(MError(L"other"));
  ASSERT_EQ(exception.GetErrorCount(), 1);
  EXPECT_EQ(copy.GetErrorCount(), 2);
  EXPECT_STREQ(copy.what(), "Unknown exception");
}

/// An error whose clones cannot be had.
class UncloneableError : public MError {
 public:
  MError* Clone() const noexcept override { return nullptr; }
};

TEST(MException, AnEntryWithoutACloneIsNullAndSkipped) {
  MException exception(MError(L"first"));
  exception.AddError(UncloneableError());
  exception.AddError(MError(L"last"));
  EXPECT_EQ(exception.GetErrorCount(), 3);
  EXPECT_EQ(exception.GetError(1), nullptr);

  const MException copy(exception);
  EXPECT_EQ(copy.GetErrorCount(), 2);
  MemoryWriter writer;
  EXPECT_TRUE(exception.Write(writer, L"Exception"));
  EXPECT_EQ(writer.Root().Describe(), L"{Exception{Error{Code=first;}Error{Code=last;}}}");
}

TEST(MException, ReadTakesTheErrorsOfTheElementItStandsInUpToTheFirstUnreadable) {
  const MemoryNode root = MemoryNode::Group(
      L"", {WellFormedError(), MemoryNode::Group(L"Error", {}), WellFormedError()});
  MemoryReader reader(root);
  MException exception(MError(L"old"));
  EXPECT_TRUE(exception.Read(reader, L"Exception"));
  ASSERT_EQ(exception.GetErrorCount(), 1);
  EXPECT_EQ(exception.GetError(0)->GetCode(), L"A.B:C");

  MemoryWriter empty;
  EXPECT_TRUE(MException().Write(empty, L"Exception"));
  EXPECT_EQ(empty.Root().Describe(), L"{Exception{}}");
  MemoryReader emptyReader(empty.Root());
  EXPECT_TRUE(exception.Read(emptyReader, L"Exception"));
  EXPECT_EQ(exception.GetErrorCount(), 0);
}

}  // namespace
