// SPDX-License-Identifier: MIT
// Long random sequences of edits: after each, or some, the index is that of the text and every
// saved position names its element.
#include "tests/support/StressScale.h"
#include "tests/xml/XmlKit.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <random>
#include <string>

namespace {

/// Edits a document at random and knows which element each saved position must name.
///
/// Every element it adds has a name of its own.
class RandomEditor {
 public:
  RandomEditor(std::uint32_t seed, bool withFaults) : random_(seed), withFaults_(withFaults) {}

  void Step() { static_cast<void>(actions_[Below(std::size(actions_))]()); }

  void ExpectAllHolds() {
    ASSERT_TRUE(IndexIsThatOfItsText(document));
    // A position on another node cannot be saved, so there would be no way back to it.
    const MXmlNodeType type = document.GetNodeType();
    if (withFaults_ || (type != MXmlNodeType::kNone && type != MXmlNodeType::kElement)) {
      return;
    }
    document.SavePosition(L"back here");
    for (const auto& [name, expected] : saved_) {
      if (document.RestorePosition(name)) {
        ASSERT_EQ(Named(), expected) << name;
      } else {
        ASSERT_EQ(document.GetText().find(L"<" + expected), MString::npos) << "lost";
      }
    }
    ASSERT_TRUE(document.RestorePosition(L"back here"));
  }

  MXmlDocument document;

 private:
  std::size_t Below(std::size_t limit) { return random_() % limit; }

  template <class T>
  T AnyOf(std::initializer_list<T> values) {
    return values.begin()[Below(values.size())];
  }

  std::wstring NewName() { return L"e" + std::to_wstring(++lastName_) + L"_"; }
  std::wstring SomePosition() { return L"position " + std::to_wstring(Below(20)); }
  std::wstring Content() {
    return AnyOf({L"", L"x", L"<&>\"'", L"]]>", L"\n", L"a much longer text than the others have"});
  }

  bool AddDocument() {
    const std::wstring name = NewName();
    const std::wstring xml =
        L"<!-- x --><" + name + L">1<" + NewName() + L"/>\n<b z='/'>2</b></" + name + L">";
    return Below(2) != 0
               ? document.AddChildDocument(xml)
               : Velta::Xml::DocumentAccess::AddElementWithDocument(document, NewName(), xml);
  }

  bool AddElement() {
    std::uint32_t flags = AnyOf({0u, MXmlDocument::kAddCData, MXmlDocument::kAddAsChild,
                                 MXmlDocument::kAddSpaceBeforeSlash});
    if (withFaults_ && Below(20) == 0) {
      flags |= MXmlDocument::kAddStartTagOnly;
    }
    const std::wstring name = NewName();
    const bool isAdded = document.AddElement(name, Content(), flags);
    EXPECT_TRUE(!isAdded || Named() == name) << Named();
    return isAdded;
  }

  bool AddNode() {
    const MXmlNodeType type = AnyOf({MXmlNodeType::kText, MXmlNodeType::kWhitespace,
                                     MXmlNodeType::kCData, MXmlNodeType::kProcessingInstruction,
                                     MXmlNodeType::kComment, MXmlNodeType::kDocumentType});
    return document.AddNode(type, Below(2) != 0 ? L"p" : Content());
  }

  /// What a position names: the current child, else the current element.
  std::wstring Named() {
    const auto child = document.GetChildTagName();
    return std::wstring(child.empty() ? document.GetTagName() : child);
  }

  bool Save() {
    const bool isOurs = Named().starts_with(L'e');
    if (isOurs) {
      const std::wstring name = SomePosition();
      document.SavePosition(name);
      saved_[name] = Named();
    }
    return isOurs;
  }

  std::mt19937 random_;
  bool withFaults_;
  int lastName_ = 0;
  std::map<std::wstring, std::wstring> saved_;  // the name of the element each must name
  const std::function<bool()> actions_[16] = {
      [this] { return document.IntoElement(); },
      [this] { return document.IntoElement(); },
      [this] { return document.OutOfElement(); },
      [this] { return document.FindElement(); },
      [this] { return document.FindChildElement(); },
      [this] { return document.FindNode(MXmlNodeType::kText) != MXmlNodeType::kNone; },
      [this] { return Save(); },
      [this] { return document.RestorePosition(SomePosition()); },
      [this] { return AddNode(); },
      [this] { return document.SetAttribute(AnyOf({L"a", L"b"}), Content()); },
      [this] { return Below(3) == 0 && AddDocument(); },
      [this] { return Below(2) == 0 && document.RemoveElement(); },
      [this] { return AddElement(); },
      [this] { return AddElement(); },
      [this] { return AddElement(); },
      [this] {
        document.ResetPosition();
        return true;
      }};
};

}  // namespace

TEST(MXmlDocument, AfterAnyEditsTheIndexIsThatOfTheText) {
  const wchar_t* const texts[] = {L"", L"<?p?><!DOCTYPE r ['>']>\r\n<r> <b/>\r\n<c d=e/>x</c></r>",
                                  L"<r><a><b c='</r> <1 x </d><e><!-- "};
  for (int seed = 0; seed < StressRounds(120); ++seed) {
    const bool withFaults = seed % 6 >= 3;
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomEditor editor(static_cast<std::uint32_t>(seed), withFaults);
    static_cast<void>(editor.document.SetText(texts[seed % (withFaults ? 3 : 2)]));
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
