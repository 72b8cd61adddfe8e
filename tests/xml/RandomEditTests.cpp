// SPDX-License-Identifier: MIT
// Long random sequences of edits: after each, or some, the index is that of the text and every
// saved position names its element.
#include "tests/support/StressScale.h"
#include "tests/xml/XmlKit.h"

#include <map>
#include <random>
#include <string>

namespace {

/// Edits a document at random and knows which element each saved position must name.
///
/// Every element it adds has a name of its own.
class RandomEditor {
 public:
  RandomEditor(std::uint32_t seed, bool mayFail) : random(seed), withFaults(mayFail) {}

  void Step() {
    const int action = Below(16);
    if (action < 2) {
      static_cast<void>(document.IntoElement());
    }
    if (action == 2) {
      static_cast<void>(document.OutOfElement());
    }
    if (action == 3) {
      static_cast<void>(document.FindElement());
    }
    if (action == 4) {
      static_cast<void>(document.FindChildElement());
    }
    if (action == 5) {
      static_cast<void>(document.FindNode(MXmlNodeType::kText));
    }
    if (action == 6) {
      document.ResetPosition();
    }
    if (action == 7) {
      Save();
    }
    if (action == 8) {
      static_cast<void>(document.RestorePosition(SomePosition()));
    }
    if (action == 9) {
      AddNode();
    }
    if (action == 10) {
      static_cast<void>(document.SetAttribute(AnyOf({L"a", L"b"}), Content()));
    }
    if (action == 11 && Below(3) == 0) {
      AddDocument();
    }
    if (action == 12 && Below(2) == 0) {
      static_cast<void>(document.RemoveElement());
    }
    if (action > 12) {
      AddElement();
    }
  }

  void ExpectAllHolds() {
    ASSERT_TRUE(IndexIsThatOfItsText(document));
    // A position on another node cannot be saved, so there would be no way back to it.
    const MXmlNodeType type = document.GetNodeType();
    if (withFaults || (type != MXmlNodeType::kNone && type != MXmlNodeType::kElement)) {
      return;
    }
    document.SavePosition(L"back here");
    for (const auto& [name, expected] : saved) {
      if (document.RestorePosition(name)) {
        ASSERT_EQ(Named(), expected) << name;
      } else {
        ASSERT_EQ(document.GetText().find(L"<" + expected), MString::npos) << "lost";
      }
    }
    ASSERT_TRUE(document.RestorePosition(L"back here"));
  }

  [[nodiscard]] MXmlDocument& Document() { return document; }

 private:
  int Below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

  template <class T>
  T AnyOf(std::initializer_list<T> values) {
    return values.begin()[Below(static_cast<int>(values.size()))];
  }

  std::wstring NewName() { return L"e" + std::to_wstring(++lastName) + L"_"; }
  std::wstring SomePosition() { return L"position " + std::to_wstring(Below(20)); }
  std::wstring Content() {
    return AnyOf({L"", L"x", L"<&>\"'", L"]]>", L"\n", L"a much longer text than the others have"});
  }

  void AddDocument() {
    const std::wstring name = NewName();
    const std::wstring xml =
        L"<!-- x --><" + name + L">1<" + NewName() + L"/>\n<b z='/'>2</b></" + name + L">";
    static_cast<void>(Below(2) != 0 ? document.AddChildDocument(xml)
                                    : Velta::Xml::DocumentAccess::AddElementWithDocument(
                                          document, NewName(), xml));
  }

  void AddElement() {
    std::uint32_t flags = AnyOf({0u, MXmlDocument::kAddCData, MXmlDocument::kAddAsChild,
                                 MXmlDocument::kAddSpaceBeforeSlash});
    if (withFaults && Below(20) == 0) {
      flags |= MXmlDocument::kAddStartTagOnly;
    }
    const std::wstring name = NewName();
    if (document.AddElement(name, Content(), flags)) {
      EXPECT_EQ(Named(), name);
    }
  }

  void AddNode() {
    const MXmlNodeType type = AnyOf({MXmlNodeType::kText, MXmlNodeType::kWhitespace,
                                     MXmlNodeType::kCData, MXmlNodeType::kProcessingInstruction,
                                     MXmlNodeType::kComment, MXmlNodeType::kDocumentType});
    static_cast<void>(document.AddNode(type, Below(2) != 0 ? L"p" : Content()));
  }

  /// What a position names: the current child, else the current element.
  std::wstring Named() {
    const auto child = document.GetChildTagName();
    return std::wstring(child.empty() ? document.GetTagName() : child);
  }

  void Save() {
    if (!Named().starts_with(L'e')) {
      return;  // no element of ours
    }
    const std::wstring name = SomePosition();
    document.SavePosition(name);
    saved[name] = Named();
  }

  std::mt19937 random;
  bool withFaults;
  MXmlDocument document;
  int lastName = 0;
  std::map<std::wstring, std::wstring> saved;  // the name of the element each must name
};

}  // namespace

TEST(MXmlDocument, AfterAnyEditsTheIndexIsThatOfTheText) {
  const wchar_t* const texts[] = {L"", L"<?p?><!DOCTYPE r ['>']>\r\n<r> <b/>\r\n<c d=e/>x</c></r>",
                                  L"<r><a><b c='</r> <1 x </d><e><!-- "};
  for (int seed = 0; seed < StressRounds(120); ++seed) {
    const bool withFaults = seed % 6 >= 3;
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomEditor editor(static_cast<std::uint32_t>(seed), withFaults);
    static_cast<void>(editor.Document().SetText(texts[seed % (withFaults ? 3 : 2)]));
    for (int step = 0; step < 400; ++step) {
      editor.Step();
      // Not after every one: asking for lengths settles what edits have left to be added.
      if (step % (seed % 13 + 1) != 0) {
        continue;
      }
      editor.ExpectAllHolds();
      ASSERT_FALSE(testing::Test::HasFatalFailure()) << "step " << step;
    }
  }
}
