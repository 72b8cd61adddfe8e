// SPDX-License-Identifier: MIT
// A host beside the framework's library: what is thrown, derived from or waited for on one side and
// caught, called or signalled on the other.
#include "tests/crossmodule/Module.h"
#include "tests/support/Raises.h"
#include "tests/support/Watchdog.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MExceptionHolder.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowLogger.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/text/MLocale.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <typeinfo>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;

const wchar_t hostClassName[] = L"HostTests";

[[noreturn]] void RaiseInTheLibrary() {
  static MFlowPoint point(hostClassName, L"RaiseInTheLibrary");
  point.At(nullptr).Raise(L"WaitFailed", L"winErrorCode", 6);
}

/// An error class that the library has never seen.
class HostError : public MError {
 public:
  explicit HostError(int hostDetail, MString causesAsText = {})
      : MError(L"Host.Do:Failed"), detail(hostDetail), causes(std::move(causesAsText)) {}

  HostError* Clone() const noexcept override { return new (std::nothrow) HostError(*this); }
  MString GetMessage() const override { return L"host detail"; }
  MString GetCauseChain() const override { return causes; }

  int detail;
  MString causes;
};

MString AsText(const MException& exception) {
  MOutFilerTaggedXml filer(L"ExceptionChain", L"");
  MString text;
  EXPECT_TRUE(exception.Write(filer, L"Exception") && filer.GetText(&text));
  return text;
}

/// Calls a function of the host on the processor's thread.
MExceptionHolder ExecuteOn(MCommandProcessor& processor, const std::function<void()>& hostWork) {
  struct HostCommand : MCommandSynchronous {
    HostCommand(MExceptionHolder holder, const std::function<void()>& commandWork)
        : MCommandSynchronous(std::move(holder)), work(commandWork) {}
    void Execute() override { work(); }
    const std::function<void()>& work;
  };
  MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command = std::make_unique<HostCommand>(outcome, hostWork);
  processor.ExecuteSynchronously(command);
  return outcome;
}

TEST(CrossModule, RunsAgainstTheLibraryAndTheRuntimeOfThisConfiguration) {
  EXPECT_TRUE(Module::IsLoaded(VELTA_TEST_LIBRARY));
#if defined(_WIN32)
  EXPECT_EQ(Module::IsLoaded("c++.dll"), VELTA_TEST_SHARED_LIBCXX != 0);
#endif
}

TEST(CrossModule, AnExceptionOfTheLibraryIsCaughtAsWhatItIsOnEveryThread) {
  std::exception_ptr pointer;
  try {
    RaiseInTheLibrary();
  } catch (const MException&) {
    pointer = std::current_exception();
  }
  MException kept;
  std::thread([&] {
    try {
      std::rethrow_exception(std::move(pointer));
    } catch (const std::exception& exception) {
      EXPECT_STREQ(exception.what(), "Unknown exception");
      EXPECT_TRUE(typeid(exception) == typeid(MException));
      kept = dynamic_cast<const MException&>(exception);
    }
  }).join();

  ASSERT_EQ(kept.GetErrorCount(), 1);
  const MError* const error = kept.GetError(0);
  EXPECT_EQ(error->GetCode(), L"HostTests.RaiseInTheLibrary:WaitFailed");
  EXPECT_THAT(error->GetParameters(), ElementsAre(Pair(L"winErrorCode", L"6")));
  EXPECT_EQ(&error->GetClassInfo(), &MError::ClassInfo);
  EXPECT_EQ(dynamic_cast<const MErrorOutOfMemory*>(error), nullptr);
}

TEST(CrossModule, ARuntimeExceptionIsConvertedInTheLibrary) {
  EXPECT_THAT([] { const MLocale locale(L"no such locale"); },
              RaisesWith(L"MLocale.MLocale:BadCppLocale",
                         testing::Contains(Pair(L"name", L"no such locale"))));
}

TEST(CrossModule, OutOfMemoryIsKnownByItsClass) {
  try {
    MErrorOutOfMemory::Throw();
  } catch (const MException& exception) {
    const MError* const error = exception.GetError(0);
    EXPECT_NE(dynamic_cast<const MErrorOutOfMemory*>(error), nullptr);
    EXPECT_TRUE(error->GetClassInfo().IsA(MError::ClassInfo));
  }
}

// The causes come as text, as from another process, and so does what they have become.
TEST(CrossModule, AnErrorOfTheHostBringsItsCausesAsText) {
  const MString hostile =
      L"<Error type=\"string\">&amp; ]]> '\t\r\n \u00FC\u20AC\U0001F600 </Error>";
  MError cause(L"Host.Open:OpenFailed");
  cause.AddParameter(L"file", hostile);
  const MException thrown(HostError(7, AsText(MException(cause))));

  MInFilerTaggedXml filer(AsText(thrown), L"ExceptionChain", L"");
  MException chain;
  EXPECT_TRUE(filer.BeginGroup(L"Exception") && chain.Read(filer, L"Exception") &&
              filer.EndGroup());
  ASSERT_EQ(chain.GetErrorCount(), 2);
  EXPECT_EQ(chain.GetError(0)->GetCode(), L"Host.Open:OpenFailed");
  EXPECT_THAT(chain.GetError(0)->GetParameters(), ElementsAre(Pair(L"file", hostile)));
  EXPECT_EQ(chain.GetError(1)->GetCode(), L"Host.Do:Failed");
}

TEST(CrossModule, TextAllocatedOnOneSideIsFreedOnTheOther) {
  MString text(200, L'x');
  MLocale::GetClassic().Format(text, L"%.200f", 1.0);
  EXPECT_EQ(text.size(), 202U);
  text.assign(300, L'y');
}

TEST(CrossModule, ACommandsExceptionComesBackFromTheProcessorsThread) {
  const Watchdog watchdog("a command of the host");
  MCommandProcessor processor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor.Start();

  const MExceptionHolder failed =
      ExecuteOn(processor, [] { throw MException(HostError(7)); });  // thrown here, caught there
  std::thread::id ranOn;
  const MExceptionHolder succeeded =
      ExecuteOn(processor, [&] { ranOn = std::this_thread::get_id(); });

  EXPECT_NE(ranOn, std::this_thread::get_id());
  EXPECT_FALSE(succeeded.HasError());
  try {
    failed.ThrowIfError();
    FAIL() << "it has no error";
  } catch (const MException& exception) {
    const auto* const error = dynamic_cast<const HostError*>(exception.GetError(0));
    ASSERT_NE(error, nullptr) << "its class is lost";
    EXPECT_EQ(error->detail, 7);
    EXPECT_EQ(exception.GetError(0)->GetMessage(), L"host detail");
  }
  processor.Stop();
  EXPECT_THROW(ExecuteOn(processor, [] {}), MException);
}

TEST(CrossModule, TheLogOfAnotherModuleHearsEventsWhileItIsAttached) {
  // Loaded for good: its log lives as long as the process.
  static const auto& module = *new Module(VELTA_TEST_SECOND_LOG);
  ASSERT_TRUE(module) << VELTA_TEST_SECOND_LOG;
  auto* const dumpSecond = module.Find<std::size_t(char*, std::size_t)>("DumpSecondLog");
  auto* const secondLog = module.Find<MFlowLogger*()>("SecondLog");
  ASSERT_TRUE(dumpSecond != nullptr && secondLog != nullptr);
  MFlowLogger* const own = MFlowLogger::Instance();
  ASSERT_NE(secondLog(), own);
  static MFlowPoint point(hostClassName, L"Mirrored");

  point.At(nullptr).LogTimingPoint(1, 10);
  own->Attach(secondLog());
  point.At(nullptr).LogTimingPoint(2, 20);
  own->Attach(nullptr);
  point.At(nullptr).LogTimingPoint(3, 30);

  std::ostringstream ownText;
  own->Dump(ownText);
  EXPECT_THAT(ownText.str(), AllOf(HasSubstr("Log_module_added"), HasSubstr("(1, 10)"),
                                   HasSubstr("(2, 20)"), HasSubstr("(3, 30)")));
  std::string secondText(1 << 16, '\0');
  secondText.resize(
      (std::min)(secondText.size(), dumpSecond(secondText.data(), secondText.size())));
  EXPECT_THAT(secondText, AllOf(HasSubstr("Log_module_added"), HasSubstr("Timing_point (2, 20)"),
                                HasSubstr(" at Mirrored "), HasSubstr("Log_module_removed"),
                                Not(HasSubstr("(1, 10)")), Not(HasSubstr("(3, 30)"))));
}

}  // namespace
