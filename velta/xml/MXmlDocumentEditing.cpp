// SPDX-License-Identifier: MIT
// Changing a document's text and index together.
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/Edit.h"
#include "velta/xml/internal/Parser.h"
#include "velta/xml/internal/References.h"
#include "velta/xml/internal/Tags.h"
#include "velta/xml/internal/Tokenizer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

using namespace Velta::Xml;
using namespace std::string_view_literals;

namespace {

/// Appends all parts in one step: most are short.
template <class... Parts>
void AppendParts(MString& text, Parts... parts) {
  const std::size_t begin = text.size();
  text.resize(begin + (parts.size() + ...));
  wchar_t* at = text.data() + begin;
  ((at = std::copy(parts.begin(), parts.end(), at)), ...);
}

/// The text escaped, in `room` if that makes a difference.
std::wstring_view Escaped(std::wstring_view text, bool quotes, MString& room) {
  if (!NeedsEscape(text, quotes)) {
    return text;
  }
  room.clear();
  AppendEscaped(room, text, quotes, false);
  return room;
}

/// The text as CDATA sections, in `room`.
std::wstring_view AsCData(std::wstring_view text, MString& room) {
  room.clear();
  AppendCData(room, text);
  return room;
}

/// Writes a node that is not an element. False when the content does not suit the type.
bool ComposeNode(MXmlNodeType type, std::wstring_view content, MString& node) {
  switch (type) {
    case MXmlNodeType::kText:
    case MXmlNodeType::kWhitespace:
      AppendEscaped(node, content, false, false);
      return true;
    case MXmlNodeType::kCData:
      AppendCData(node, content);
      return true;
    case MXmlNodeType::kProcessingInstruction: {
      const MString text(content);
      const std::wstring_view target = NameAt(text.c_str());
      const wchar_t next = text.c_str()[target.size()];
      if (!IsName(target) || (target.size() != text.size() && !IsSpace(next))) {
        return false;
      }
      node.append(L"<?").append(text).append(L"?>");
      return true;
    }
    case MXmlNodeType::kComment:
      node.append(L"<!--").append(content).append(L"-->");
      return content.find(L"--") == std::wstring_view::npos && !content.ends_with(L'-');
    case MXmlNodeType::kDocumentType:
      node.append(L"<!DOCTYPE ").append(content).append(1, L'>');
      return true;
    default:
      return false;
  }
}

/// Where the last of the CDATA sections begins that have been written for a content.
std::size_t LastSection(std::wstring_view content, std::size_t written) noexcept {
  const std::size_t split = content.rfind(L"]]>");
  if (split == std::wstring_view::npos) {
    return 0;
  }
  return written - (content.size() - split - 2) - std::wstring_view(L"<![CDATA[]]>").size();
}

bool IsOneToken(const MString& text, MXmlNodeType type) {
  const Token token = Tokenizer(text, nullptr).Next();
  return static_cast<std::int32_t>(token.type) == static_cast<std::int32_t>(type) &&
         token.Text().size() == text.size();
}

/// What an attribute's value becomes in the text of its tag.
struct AttributeChange {
  Span replaced;
  bool hasName;    // the name is there
  bool hasQuotes;  // the quotes are there too
};

/// Where to set an attribute.
///
/// @return nothing where the tag ends in an attribute that is not complete, or would become an
///         empty tag
std::optional<AttributeChange> FindAttributeChange(const DocumentState& state, Span tag,
                                                   bool isElement, std::wstring_view name) {
  Attribute attribute;
  const bool isThere = FindAttribute(state, tag, name, attribute);
  if (!attribute.isComplete && (!isThere || attribute.isQuoted)) {
    return std::nullopt;
  }
  if (!isThere) {
    return AttributeChange{{tag.end, tag.end}, false, false};
  }
  if (attribute.isQuoted) {
    const Offset begin = state.OffsetOf(attribute.value.data());
    return AttributeChange{{begin, begin + LengthOf(attribute.value)}, true, true};
  }
  // A quote before this slash would make the tag an empty one.
  if (isElement && state.OffsetOf(attribute.end) == tag.end - Length{1} && *attribute.end == L'/') {
    return std::nullopt;
  }
  const wchar_t* const nameEnd = attribute.name.data() + attribute.name.size();
  return AttributeChange{{state.OffsetOf(nameEnd), state.OffsetOf(attribute.end)}, true, false};
}

/// @param element  whose tag it is; kNone for the current processing instruction
bool SetAttributeIn(DocumentState& state, std::optional<Span> tag, ElementId element,
                    std::wstring_view name, std::wstring_view value) {
  if (!tag.has_value() || !IsName(name)) {
    return false;
  }
  const std::optional<AttributeChange> change =
      FindAttributeChange(state, *tag, element != ElementId::kNone, name);
  if (!change.has_value()) {
    return false;
  }
  Edit edit(state, change->replaced, element);
  if (change->hasQuotes) {
    AppendEscaped(edit.Text(), value, true, false);
    return edit.CommitTag();
  }
  if (!change->hasName) {
    AppendParts(edit.Text(), L" "sv, name);
  }
  AppendParts(edit.Text(), L"=\""sv, Escaped(value, true, state.escaped), L"\""sv);
  return edit.CommitTag();
}

struct NewAttribute {
  std::wstring_view name;  // empty for no attribute
  std::wstring_view value;
};

bool AddElementTo(DocumentState& state, std::wstring_view name, NewAttribute attribute,
                  std::wstring_view data, std::uint32_t flags) {
  const bool asChild = (flags & MXmlDocument::kAddAsChild) != 0;
  const bool hasEndTag = (flags & MXmlDocument::kAddStartTagOnly) == 0;
  if (!IsName(name) || (asChild && state.position.current == ElementId::kNone)) {
    return false;
  }

  Edit edit(state, asChild ? PlaceInCurrent(state) : PlaceAfterCurrent(state),
            Edit::Layout::kOwnLine);
  MString& text = edit.Text();
  if (attribute.name.empty()) {
    AppendParts(text, L"<"sv, name);
  } else {
    AppendParts(text, L"<"sv, name, L" "sv, attribute.name, L"=\""sv,
                Escaped(attribute.value, true, state.escaped), L"\""sv);
  }
  const auto level = asChild ? Edit::Level::kChild : Edit::Level::kCurrent;
  if (data.empty() && hasEndTag) {
    text.append((flags & MXmlDocument::kAddSpaceBeforeSlash) != 0 ? L" />"sv : L"/>"sv);
    return edit.CommitElement({LengthFrom(edit.Composed()), Length::kZero}, kEmptyTag, level);
  }
  const Length startTag = LengthFrom(edit.Composed() + 1);
  const std::wstring_view content = (flags & MXmlDocument::kAddCData) != 0 && !data.empty()
                                        ? AsCData(data, state.escaped)
                                        : Escaped(data, false, state.escaped);
  if (!hasEndTag) {
    AppendParts(text, L">"sv, content);
    return edit.CommitStartTag(level);
  }
  AppendParts(text, L">"sv, content, L"</"sv, name, L">"sv);
  return edit.CommitElement({startTag, LengthFrom(name.size() + 3)}, 0, level);
}

/// @param name  of the element to be added around its root, empty for none
bool AddDocumentTo(DocumentState& state, Edit::Level level, std::wstring_view name,
                   std::wstring_view xml) {
  if (xml.size() > kMaxTextLength) {
    return false;
  }
  const MString source(xml);
  ElementIndex index;
  ErrorText errors;
  Parse(source, state.IgnoresCase(), index, errors);
  if (!IsWellFormed(index)) {
    return false;
  }
  const ElementRecord& root = index.At(index.At(ElementId::kDocument).firstChild);
  const std::wstring_view content(source.data() + ToInt(root.start),
                                  static_cast<std::size_t>(root.length));
  Edit edit(state, level == Edit::Level::kChild ? PlaceInCurrent(state) : PlaceAfterCurrent(state),
            Edit::Layout::kOwnLine);
  if (name.empty()) {
    edit.Text().append(content);
  } else {
    AppendParts(edit.Text(), L"<"sv, name, L">\n"sv, content, L"\n</"sv, name, L">"sv);
    index.WrapRoot({LengthOf(name) + Length{2}, LengthOf(name) + Length{3}});
  }
  return edit.CommitTree(index, level);
}

}  // namespace

bool MXmlDocument::AddElement(std::wstring_view name, std::wstring_view data, std::uint32_t flags) {
  return AddElementTo(*state_, name, {}, data, flags);
}

bool DocumentAccess::AddElementWithAttribute(MXmlDocument& document, std::wstring_view name,
                                             std::wstring_view attribute, std::wstring_view value,
                                             std::wstring_view data) {
  return IsName(attribute) && AddElementTo(*document.state_, name, {attribute, value}, data, 0);
}

bool MXmlDocument::AddNode(MXmlNodeType type, std::wstring_view content) {
  MString node;
  if (!ComposeNode(type, content, node)) {
    return false;
  }
  const std::size_t last = type == MXmlNodeType::kCData ? LastSection(content, node.size()) : 0;
  if (last == 0 && !IsOneToken(node, type)) {
    return false;
  }

  const bool isBlock = type == MXmlNodeType::kProcessingInstruction ||
                       type == MXmlNodeType::kComment || type == MXmlNodeType::kDocumentType;
  Edit edit(*state_, PlaceAfterCurrent(*state_),
            isBlock ? Edit::Layout::kOwnLine : Edit::Layout::kInline);
  edit.Text().append(node);
  return edit.CommitNode(type, LengthFrom(last));
}

bool MXmlDocument::SetAttribute(std::wstring_view name, std::wstring_view value) {
  return SetAttributeIn(*state_, InsideOfCurrentTag(*state_), state_->position.current, name,
                        value);
}

bool MXmlDocument::SetChildAttribute(std::wstring_view name, std::wstring_view value) {
  const ElementId child = state_->position.child;
  return SetAttributeIn(*state_, InsideOfTag(*state_, child), child, name, value);
}

bool MXmlDocument::AddChildDocument(std::wstring_view xml) {
  return state_->position.current != ElementId::kNone &&
         AddDocumentTo(*state_, Edit::Level::kChild, {}, xml);
}

bool DocumentAccess::AddDocument(MXmlDocument& document, std::wstring_view xml) {
  return AddDocumentTo(*document.state_, Edit::Level::kCurrent, {}, xml);
}

bool DocumentAccess::AddElementWithDocument(MXmlDocument& document, std::wstring_view name,
                                            std::wstring_view xml) {
  return IsName(name) && AddDocumentTo(*document.state_, Edit::Level::kCurrent, name, xml);
}

bool MXmlDocument::RemoveElement() {
  const ElementId element = state_->position.current;
  return element != ElementId::kNone && Edit(*state_, element).CommitRemoval();
}
