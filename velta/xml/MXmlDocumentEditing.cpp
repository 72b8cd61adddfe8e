// SPDX-License-Identifier: MIT
// Changing a document's text and index together.
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/Change.h"
#include "velta/xml/internal/DocumentAccess.h"
#include "velta/xml/internal/DocumentState.h"
#include "velta/xml/internal/Parser.h"
#include "velta/xml/internal/References.h"
#include "velta/xml/internal/Tags.h"
#include "velta/xml/internal/Tokenizer.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

using namespace Velta::Xml;
using namespace std::string_view_literals;

namespace {

/// A line break is what follows each element added: it belongs to the line that ends there.
std::int32_t BehindLineBreak(const DocumentState& state, std::int32_t offset) noexcept {
  const wchar_t* const at = state.text.c_str() + offset;
  if (at[0] == L'\r' && at[1] == L'\n') {
    return offset + 2;
  }
  return at[0] == L'\n' || at[0] == L'\r' ? offset + 1 : offset;
}

/// Where something is put into the content of an element, or of the document.
struct Place {
  std::int32_t parent;
  std::int32_t previous;  // the element before it on its level, or 0
  std::int32_t offset;
};

Place BehindElement(const DocumentState& state, std::int32_t element) noexcept {
  return {state.index.At(element).parent, element,
          BehindLineBreak(state, state.index.EndOf(element))};
}

Place BehindContent(const DocumentState& state, std::int32_t parent) noexcept {
  const ElementRecord& record = state.index.At(parent);
  if (!record.Has(kEmptyTag)) {
    return {parent, record.lastChild, state.ContentEnd(parent)};
  }
  // In front of the "/>" and of the spaces before it, unless that laid bare another slash.
  const wchar_t* const slash = state.text.data() + state.index.EndOf(parent) - 2;
  const wchar_t* at = slash;
  while (IsSpace(at[-1])) {
    --at;
  }
  if (at[-1] == L'/') {
    at = slash;
  }
  return {parent, 0, static_cast<std::int32_t>(at - state.text.data())};
}

Place BehindCurrent(const DocumentState& state) noexcept {
  const Position& position = state.position;
  if (position.IsOnNode()) {
    return {position.parent, position.precedingElement, BehindLineBreak(state, position.NodeEnd())};
  }
  return position.current != 0 ? BehindElement(state, position.current)
                               : BehindContent(state, position.parent);
}

Place InsideCurrent(const DocumentState& state) noexcept {
  const Position& position = state.position;
  return position.child != 0 ? BehindElement(state, position.child)
                             : BehindContent(state, position.current);
}

/// Composes something new in a document's scratch text, together with what its place needs around
/// it, and puts it in.
class Insertion {
 public:
  Insertion(DocumentState& document, Place where, bool onLinesOfItsOwn)
      : state(document),
        place(where),
        isBlock(onLinesOfItsOwn),
        opensParent(state.index.At(place.parent).Has(kEmptyTag)),
        change(state, place.offset, opensParent ? state.index.EndOf(place.parent) : place.offset,
               place.parent,
               place.previous != 0 ? state.index.Behind(place.previous)
                                   : state.index.Following(place.parent)) {
    MString& text = state.scratch;
    text.clear();
    if (opensParent) {
      text += L'>';
    }
    const bool isFirst =
        place.parent != 0 && state.ContentBegin(place.parent) == state.ContentEnd(place.parent);
    if (isBlock && isFirst) {
      text += L'\n';
    }
    begin = text.size();
  }

  /// To be called when it has been composed. False when the document would be too long.
  [[nodiscard]] bool Prepare() {
    MString& text = state.scratch;
    length = text.size() - begin;
    if (isBlock) {
      text += L'\n';
    }
    if (opensParent) {
      text.append(L"</").append(state.NameOf(place.parent)).append(1, L'>');
    }
    return change.Prepare();
  }

  // What follows is known behind Prepare.
  [[nodiscard]] std::int32_t Offset() const noexcept {
    return place.offset + static_cast<std::int32_t>(begin);
  }
  [[nodiscard]] std::int32_t Length() const noexcept { return static_cast<std::int32_t>(length); }

  /// Puts it in by parsing the whole document again.
  ///
  /// @return the element that begins with it; 0, with nothing changed, when there is none
  [[nodiscard]] std::int32_t PutElementAndParse() {
    return PutAndParse(MXmlNodeType::kElement) ? state.index.FindStart(Offset()) : 0;
  }

  /// The same for a node of any type.
  [[nodiscard]] bool PutAndParse(MXmlNodeType type) { return change.ApplyAndParse(type, Offset()); }

  /// Puts it in.
  ///
  /// @param element  its record, with all below it in the index already, or 0 if it has none. When
  ///                 this throws, nothing has changed and they are gone
  void Put(std::int32_t element) {
    if (opensParent) {
      const auto nameLength = static_cast<std::int32_t>(state.NameOf(place.parent).size());
      ElementRecord& parent = state.index.At(place.parent);
      try {
        state.index.SetTagLengths(place.parent, {place.offset - parent.start + 1, nameLength + 3});
      } catch (...) {
        if (element != 0) {
          state.index.ReleaseTree(element);
        }
        throw;
      }
      parent.flags &= ~kEmptyTag;
    }
    change.Apply();
    if (element != 0) {
      state.index.Link(element, place.parent, place.previous);
    }
  }

 private:
  DocumentState& state;
  const Place place;
  const bool isBlock;
  const bool opensParent;  // so far an empty tag
  const Change change;
  std::size_t begin = 0;
  std::size_t length = 0;
};

void MoveToNew(DocumentState& state, std::int32_t element, bool asChild) noexcept {
  state.position = Position();
  std::int32_t& held = asChild ? state.position.child : state.position.current;
  held = element;
  const std::int32_t above = state.index.At(element).parent;
  state.position.parent = asChild ? state.index.At(above).parent : above;
  if (asChild) {
    state.position.current = above;
  }
}

/// In the index of a document just parsed: which element a node is in, and behind which one there.
void FindAround(const ElementIndex& index, Position& position) noexcept {
  position.precedingElement = 0;
  position.parent = index.LastBefore(position.nodeOffset);
  while (position.parent != 0 && index.EndOf(position.parent) <= position.nodeOffset) {
    position.precedingElement = position.parent;
    position.parent = index.At(position.parent).parent;
  }
}

/// A record for an element that is about to be put in.
std::int32_t NewRecord(ElementIndex& index, const Insertion& insertion, TagLengths tags,
                       std::int32_t flags) {
  index.Reserve(1);
  const std::int32_t element = index.Take();
  ElementRecord& record = index.At(element);
  record = ElementRecord{};
  record.start = insertion.Offset();
  record.length = insertion.Length();
  record.flags = flags;
  try {
    index.SetTagLengths(element, tags);
  } catch (...) {
    index.Release(element);
    throw;
  }
  return element;
}

/// Appends them in one step: most are short.
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
  AppendEscaped(room, text, quotes, false);
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
      const wchar_t behind = text.c_str()[target.size()];
      if (!IsName(target) || (target.size() != text.size() && !IsSpace(behind))) {
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

/// @param element  whose tag it is, 0 for the current processing instruction
bool SetAttributeIn(DocumentState& state, TagInside tag, std::int32_t element,
                    std::wstring_view name, std::wstring_view value) {
  if (!tag.Exists() || !IsName(name)) {
    return false;
  }
  const wchar_t* const text = state.text.data();
  Attribute attribute;
  const bool isThere = FindAttribute(state, tag, name, attribute);
  if (!attribute.isComplete && (!isThere || attribute.isQuoted)) {
    return false;
  }

  MString& scratch = state.scratch;
  MString room;
  scratch.clear();
  std::int32_t begin = tag.end;
  std::int32_t end = tag.end;
  if (isThere && attribute.isQuoted) {
    begin = static_cast<std::int32_t>(attribute.value.data() - text);
    end = begin + static_cast<std::int32_t>(attribute.value.size());
    AppendEscaped(scratch, value, true, false);
  } else {
    if (isThere) {
      begin = static_cast<std::int32_t>(attribute.name.data() + attribute.name.size() - text);
      end = static_cast<std::int32_t>(attribute.end - text);
      // A quote in front of this slash would make the tag an empty one.
      if (element != 0 && end == tag.end - 1 && text[end] == L'/') {
        return false;
      }
    } else {
      AppendParts(scratch, L" "sv, name);
    }
    AppendParts(scratch, L"=\""sv, Escaped(value, true, room), L"\""sv);
  }

  const Position& position = state.position;
  const std::int32_t parent = element != 0 ? element : position.parent;
  const std::int32_t firstBehind = element == 0 && position.precedingElement != 0
                                       ? state.index.Behind(position.precedingElement)
                                       : state.index.Following(parent);
  const Change change(state, begin, end, parent, firstBehind);
  if (!change.Prepare()) {
    return false;
  }
  const std::int32_t distance = change.Distance();
  if (state.IsIllFormed()) {
    const bool isParsed =
        element != 0
            ? change.ApplyAndParse(MXmlNodeType::kElement, state.index.At(element).start)
            : change.ApplyAndParse(MXmlNodeType::kProcessingInstruction, position.nodeOffset);
    if (!isParsed) {
      return false;
    }
  } else {
    if (element != 0) {
      const TagLengths tags = state.index.GetTagLengths(element);
      state.index.SetTagLengths(element, {tags.start + distance, tags.end});
    }
    change.Apply();
  }
  if (element == 0) {
    state.position.nodeLength += distance;
  }
  return true;
}

/// @param attribute  its name, empty for none
bool AddElementTo(DocumentState& state, std::wstring_view name, std::wstring_view attribute,
                  std::wstring_view value, std::wstring_view data, std::uint32_t flags) {
  const bool asChild = (flags & MXmlDocument::kAddAsChild) != 0;
  const bool hasEndTag = (flags & MXmlDocument::kAddStartTagOnly) == 0;
  if (!IsName(name) || (asChild && state.position.current == 0)) {
    return false;
  }

  Insertion insertion(state, asChild ? InsideCurrent(state) : BehindCurrent(state), true);
  MString& text = state.scratch;
  const std::size_t begin = text.size();
  MString& room = state.escaped;
  room.clear();
  if (attribute.empty()) {
    AppendParts(text, L"<"sv, name);
  } else {
    AppendParts(text, L"<"sv, name, L" "sv, attribute, L"=\""sv, Escaped(value, true, room),
                L"\""sv);
  }
  const bool isEmpty = data.empty() && hasEndTag;
  const std::size_t startTagLength = text.size() + 1 - begin;
  if (isEmpty) {
    text.append((flags & MXmlDocument::kAddSpaceBeforeSlash) != 0 ? L" />"sv : L"/>"sv);
  } else {
    room.clear();
    const bool isCData = (flags & MXmlDocument::kAddCData) != 0 && !data.empty();
    if (isCData) {
      AppendCData(room, data);
    }
    const std::wstring_view content = isCData ? room : Escaped(data, false, room);
    if (hasEndTag) {
      AppendParts(text, L">"sv, content, L"</"sv, name, L">"sv);
    } else {
      AppendParts(text, L">"sv, content);
    }
  }
  if (!insertion.Prepare()) {
    return false;
  }

  std::int32_t element = 0;
  if (state.IsIllFormed() || !hasEndTag) {
    element = insertion.PutElementAndParse();
    if (element == 0) {
      return false;
    }
  } else {
    const TagLengths tags = isEmpty ? TagLengths{insertion.Length(), 0}
                                    : TagLengths{static_cast<std::int32_t>(startTagLength),
                                                 static_cast<std::int32_t>(name.size()) + 3};
    element = NewRecord(state.index, insertion, tags, isEmpty ? kEmptyTag : 0);
    insertion.Put(element);
  }
  MoveToNew(state, element, asChild);
  return true;
}

/// In the index of a document just read: puts an element around its root.
void Surround(ElementIndex& index, TagLengths tags) {
  index.Reserve(1);
  const std::int32_t element = index.Take();
  const std::int32_t root = index.At(0).firstChild;
  const ElementRecord& inner = index.At(root);
  ElementRecord& record = index.At(element);
  record = ElementRecord{};
  record.start = inner.start - tags.start - 1;  // each on a line of its own
  record.length = tags.start + 1 + inner.length + 1 + tags.end;
  index.SetTagLengths(element, tags);
  index.Unlink(root);
  index.Link(element, 0, 0);
  index.Link(root, element, 0);
}

/// @param name  of the element to be added around its root, empty for none: it is then a child
bool AddDocumentTo(DocumentState& state, std::wstring_view name, std::wstring_view xml) {
  if (xml.size() > kMaxTextLength) {
    return false;
  }
  const bool asChild = name.empty();
  const MString source(xml);
  ElementIndex index;
  ErrorText errors;
  Parse(source, state.IgnoresCase(), index, errors);
  if (!IsWellFormed(index)) {
    return false;
  }
  const ElementRecord& root = index.At(index.At(0).firstChild);
  const std::wstring_view content(source.data() + root.start,
                                  static_cast<std::size_t>(root.length));

  Insertion insertion(state, asChild ? InsideCurrent(state) : BehindCurrent(state), true);
  if (asChild) {
    state.scratch.append(content);
  } else {
    AppendParts(state.scratch, L"<"sv, name, L">\n"sv, content, L"\n</"sv, name, L">"sv);
  }
  if (!insertion.Prepare()) {
    return false;
  }

  std::int32_t element = 0;
  if (state.IsIllFormed()) {
    element = insertion.PutElementAndParse();
    if (element == 0) {
      return false;
    }
  } else {
    const auto nameLength = static_cast<std::int32_t>(name.size());
    if (!asChild) {
      Surround(index, {nameLength + 2, nameLength + 3});
    }
    element = state.index.TakeTree(index, insertion.Offset());
    insertion.Put(element);
  }
  MoveToNew(state, element, asChild);
  return true;
}

}  // namespace

bool MXmlDocument::AddElement(std::wstring_view name, std::wstring_view data, std::uint32_t flags) {
  return AddElementTo(*state, name, {}, {}, data, flags);
}

bool DocumentAccess::AddElementWithAttribute(MXmlDocument& document, std::wstring_view name,
                                             std::wstring_view attribute, std::wstring_view value,
                                             std::wstring_view data) {
  return IsName(attribute) && AddElementTo(*document.state, name, attribute, value, data, 0);
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
  const Place place = BehindCurrent(*state);
  Insertion insertion(*state, place, isBlock);
  state->scratch.append(node);
  if (!insertion.Prepare()) {
    return false;
  }

  Position position;
  position.parent = place.parent;
  position.nodeType = type;
  position.nodeOffset = insertion.Offset() + static_cast<std::int32_t>(last);
  position.nodeLength = insertion.Length() - static_cast<std::int32_t>(last);
  position.precedingElement = place.previous;
  if (state->IsIllFormed()) {
    if (!insertion.PutAndParse(type)) {
      return false;
    }
    FindAround(state->index, position);
  } else {
    insertion.Put(0);
  }
  state->position = position;
  return true;
}

bool MXmlDocument::SetAttribute(std::wstring_view name, std::wstring_view value) {
  return SetAttributeIn(*state, InsideOfCurrentTag(*state), state->position.current, name, value);
}

bool MXmlDocument::SetChildAttribute(std::wstring_view name, std::wstring_view value) {
  const std::int32_t child = state->position.child;
  return SetAttributeIn(*state, InsideOfTag(*state, child), child, name, value);
}

bool MXmlDocument::AddChildDocument(std::wstring_view xml) {
  return state->position.current != 0 && AddDocumentTo(*state, {}, xml);
}

bool DocumentAccess::AddElementWithDocument(MXmlDocument& document, std::wstring_view name,
                                            std::wstring_view xml) {
  return IsName(name) && AddDocumentTo(*document.state, name, xml);
}

bool MXmlDocument::RemoveElement() {
  const std::int32_t element = state->position.current;
  if (element == 0) {
    return false;
  }
  ElementIndex& index = state->index;
  const ElementRecord record = index.At(element);
  const Change change(*state, record.start, BehindLineBreak(*state, index.EndOf(element)),
                      record.parent, index.Behind(element));
  Position position;
  position.parent = record.parent;
  position.current = record.previousSibling;
  state->scratch.clear();
  if (state->IsIllFormed()) {
    const Position before = std::exchange(state->position, position);
    try {
      return change.ApplyAndParse(MXmlNodeType::kNone, 0);
    } catch (...) {
      state->position = before;
      throw;
    }
  }
  state->position = position;
  index.Unlink(element);
  index.ReleaseTree(element);
  state->saved.DropIf(
      [&index](const SavedPosition& entry) { return index.At(entry.element).Has(kDeleted); });
  change.Apply();
  return true;
}
