// SPDX-License-Identifier: MIT
// Long random sequences of edits: after each, the index is that of the text and every saved
// position names its element.
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
    if (action < 2) static_cast<void>(document.IntoElement());
    if (action == 2) static_cast<void>(document.OutOfElement());
    if (action == 3) {
      for (int steps = Below(6); steps > 0 && document.FindElement(); --steps) {
      }
    }
    if (action == 4) static_cast<void>(document.FindChildElement());
    if (action == 5) static_cast<void>(document.FindNode(kOtherNodes));
    if (action == 6) document.ResetPosition();
    if (action == 7) Save();
    if (action == 8) static_cast<void>(document.RestorePosition(SomePosition()));
    if (action == 9) AddNode();
    if (action == 10) SetAttribute();
    if (action == 11 && Below(3) == 0) AddDocument();
    if (action == 12 && Below(2) == 0) static_cast<void>(document.RemoveElement());
    if (action > 12) AddElement();
  }

  /// Whether all that must hold does.
  [[nodiscard]] testing::AssertionResult Holds() {
    if (const auto result = IndexIsThatOfItsText(document); !result) return result;
    const MXmlNodeType type = document.GetNodeType();
    const bool isOnText = type == MXmlNodeType::kText || type == MXmlNodeType::kWhitespace;
    if (type != MXmlNodeType::kNone && (document.GetNodeText().front() == L'<') == isOnText) {
      return testing::AssertionFailure() << "not at a node";
    }
    // A position on another node cannot be saved, so there would be no way back to it.
    if (withFaults || (type != MXmlNodeType::kNone && type != MXmlNodeType::kElement)) {
      return testing::AssertionSuccess();
    }
    const std::int32_t offset = document.GetOffset();
    document.SavePosition(kBackHere);
    for (const auto& [name, expected] : saved) {
      if (!document.RestorePosition(name)) {
        if (document.GetText().find(L"<" + expected) == std::wstring::npos) {
          continue;  // dropped with its element
        }
        return testing::AssertionFailure() << "lost: " << Narrow(expected);
      }
      if (Named() != expected) {
        return testing::AssertionFailure()
               << Narrow(name) << " names " << Narrow(Named()) << ", not " << Narrow(expected);
      }
    }
    if (!document.RestorePosition(kBackHere) || document.GetOffset() != offset) {
      return testing::AssertionFailure() << "not back where it was";
    }
    return testing::AssertionSuccess();
  }

  [[nodiscard]] MXmlDocument& Document() { return document; }

 private:
  static constexpr MXmlNodeType kOtherNodes =
      MXmlNodeType::kText | MXmlNodeType::kWhitespace | MXmlNodeType::kCData |
      MXmlNodeType::kProcessingInstruction | MXmlNodeType::kComment;
  static constexpr const wchar_t* kBackHere = L"back here";

  int Below(int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); }

  std::wstring NewName() { return L"e" + std::to_wstring(++lastName) + L"_"; }

  std::wstring Content() {
    static const wchar_t* const contents[] = {
        L"",   L"x",     L"<&>\"'", L"]]>",
        L"\n", L" a b ", L"&amp;",  L"a much longer text than the others have"};
    return contents[Below(8)];
  }

  std::wstring SomePosition() { return L"position " + std::to_wstring(Below(20)); }

  void AddDocument() {
    const std::wstring name = NewName();
    static_cast<void>(document.AddChildDocument(L"<!-- x --><" + name + L">1<" + NewName() +
                                                L"/>\n<b z='/'>2</b></" + name + L">"));
  }

  void AddElement() {
    static const std::uint32_t flags[] = {
        0,
        0,
        MXmlDocument::kAddCData,
        MXmlDocument::kAddSpaceBeforeSlash,
        MXmlDocument::kAddAsChild,
        MXmlDocument::kAddAsChild | MXmlDocument::kAddSpaceBeforeSlash};
    std::uint32_t flag = flags[Below(6)];
    if (flag == 0 && Below(2) == 0) {
      static_cast<void>(document.AddElementWithAttribute(NewName(), L"a", Content(), Content()));
      return;
    }
    if (withFaults && Below(20) == 0) flag |= MXmlDocument::kAddStartTagOnly;
    static_cast<void>(document.AddElement(NewName(), Content(), flag));
  }

  void AddNode() {
    static const MXmlNodeType types[] = {
        MXmlNodeType::kText,    MXmlNodeType::kWhitespace,
        MXmlNodeType::kCData,   MXmlNodeType::kProcessingInstruction,
        MXmlNodeType::kComment, MXmlNodeType::kDocumentType};
    static_cast<void>(document.AddNode(types[Below(6)], Below(2) != 0 ? L"p" : Content()));
  }

  void SetAttribute() {
    static const wchar_t* const names[] = {L"a", L"b", L"c"};
    const wchar_t* const name = names[Below(3)];
    const std::wstring value = Content();
    if (Below(4) == 0) {
      static_cast<void>(document.SetChildAttribute(name, value));
    } else if (document.SetAttribute(name, value)) {
      EXPECT_EQ(document.GetAttribute(name), value);
    }
  }

  /// What a position names: the current child, else the current element.
  std::wstring Named() {
    if (!document.GetChildTagName().empty()) return std::wstring(document.GetChildTagName());
    return std::wstring(document.GetTagName());
  }

  void Save() {
    const std::wstring name = SomePosition();
    if (Named().empty() || Named()[0] != L'e') return;  // no element of ours
    document.SavePosition(name);
    saved[name] = Named();
  }

  std::mt19937 random;
  bool withFaults;
  MXmlDocument document;
  int lastName = 0;
  std::map<std::wstring, std::wstring> saved;  // the name of the element each must name
};

void EditAtRandom(bool withFaults) {
  const int rounds = StressRounds(60);
  for (int round = 0; round < rounds; ++round) {
    const auto seed = static_cast<std::uint32_t>(1000 * withFaults + round);
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomEditor editor(seed, withFaults);
    if (round % 3 == 1) {
      static_cast<void>(editor.Document().SetText(
          L"<?xml version='1.0'?><!DOCTYPE r [<!ENTITY x '>'>]>\r\n<r a='1'> <b/>\r\n<c d=e/>x</c>"
          L"<![CDATA[<]]><f  /><!-- c --></r>\n\n"));
    } else if (round % 3 == 2 && withFaults) {
      static_cast<void>(editor.Document().SetText(L"<r><a><b c='</r> <1 x </d><e><!-- "));
    }
    for (int step = 0; step < 400; ++step) {
      editor.Step();
      ASSERT_TRUE(editor.Holds()) << "step " << step;
    }
  }
}

}  // namespace

TEST(MXmlDocument, AfterAnyEditsTheIndexIsThatOfTheText) { EditAtRandom(false); }

TEST(MXmlDocument, AfterAnyEditsOfAFaultyDocumentTheIndexIsThatOfTheText) { EditAtRandom(true); }
