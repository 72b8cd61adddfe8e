// SPDX-License-Identifier: MIT
// A chain of errors that was thrown elsewhere, and comes here as text.
#include "tests/crossmodule/FailingPart.h"
#include "tests/crossmodule/Module.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/serialisation/MInFilerTaggedXml.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if defined(_WIN32)
#include <process.h>
#endif

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

void ExpectTheFailure(const MString& text) {
  MInFilerTaggedXml filer(text, L"ExceptionChain", L"");
  MException chain;
  ASSERT_TRUE(filer.BeginGroup(L"Exception"));
  EXPECT_TRUE(chain.Read(filer, L"Exception"));
  EXPECT_TRUE(filer.EndGroup());

  ASSERT_EQ(chain.GetErrorCount(), 3);
  EXPECT_EQ(chain.GetError(0)->GetCode(), L"FailingPart.Open:OpenFailed");
  EXPECT_THAT(chain.GetError(0)->GetParameters(),
              ElementsAre(Pair(L"errno", L"-2"), Pair(L"file", kHostileText)));
  EXPECT_EQ(chain.GetError(1)->GetCode(), L"FailingPart.Load:NotLoaded");
  EXPECT_THAT(chain.GetError(1)->GetParameters(), ElementsAre(Pair(L"reason", L"")));
  EXPECT_EQ(chain.GetError(2)->GetCode(), L"FailingPart.Run:Failed");
  EXPECT_THAT(chain.GetError(2)->GetParameters(), IsEmpty());
}

TEST(CrossModule, AChainOfErrorsComesFromAnotherModuleAsText) {
  // Never unloaded: the log keeps the names that the module has given it.
  static const Module& module = *new Module(VELTA_TEST_PLUGIN);
  ASSERT_TRUE(module);
  auto* const fail =
      module.Find<void(void*, void (*)(void*, const wchar_t*, std::size_t))>("HandOverFailure");
  ASSERT_NE(fail, nullptr);

  MString text;
  fail(&text, [](void* receiver, const wchar_t* characters, std::size_t length) {
    static_cast<MString*>(receiver)->assign(characters, length);
  });

  ExpectTheFailure(text);
}

TEST(CrossModule, AChainOfErrorsComesFromAnotherProcessAsText) {
  static_cast<void>(std::remove(VELTA_TEST_FAILURE_FILE));
#if defined(_WIN32)
  ASSERT_EQ(::_spawnl(_P_WAIT, VELTA_TEST_FAILING_PROCESS, VELTA_TEST_FAILING_PROCESS,
                      VELTA_TEST_FAILURE_FILE, nullptr),
            0);
#else
  ASSERT_EQ(std::system("'" VELTA_TEST_FAILING_PROCESS "' '" VELTA_TEST_FAILURE_FILE "'"), 0);
#endif
  std::ifstream file(VELTA_TEST_FAILURE_FILE, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  MString text(bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));

  ExpectTheFailure(text);
}

}  // namespace
