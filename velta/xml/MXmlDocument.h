// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/text/MString.h"
#include "velta/xml/MXmlNodeType.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace Velta::Xml {
class DocumentAccess;
struct DocumentState;
}  // namespace Velta::Xml

/// A small XML document in memory: one text, and an index of where its elements are.
///
/// Load a text, walk its elements, edit it, take the text. What an edit does not touch stays as it
/// was written, character for character.
///
/// ```cpp
/// MXmlDocument document;
/// if (!document.SetText(text)) return Report(document.GetErrorText());
/// if (document.FindElement(L"Settings") && document.IntoElement()) {
///   while (document.FindElement(L"Server")) {
///     Use(document.GetAttribute(L"name"), document.GetData());
///   }
///   if (!document.AddElement(L"Server", L"spare")) return Report(L"The document is too long");
/// }
/// text = document.GetText();
/// ```
///
/// **Position.** A document has a current level: the children of one element or, at the top, the
/// nodes outside every element. One node of the level is current, an element or another node, or
/// none: the position is then before the first node. A current element may have a current child. A
/// search that finds nothing does not move the position.
///
/// **What is checked.** Tags must match and tokens be complete; there must be exactly one root
/// element. Attributes are not checked before they are read, declarations of entities have no
/// effect, text outside the root is passed over. Names are compared exactly unless `kIgnoreCase` is
/// set.
///
/// **Units.** Offsets and lengths count characters of the text (`wchar_t`), from 0. A text has at
/// most 2^31 - 1 of them.
///
/// **Costs.** Parsing takes time in proportion to the text's length, whatever its depth, width or
/// the size of a tag; the index takes 36 bytes an element and some room to grow. A step between
/// elements is a look-up. An edit moves the text and the elements after it: at the end of a
/// document it costs the same in a small and a large one, deep inside it also moves the end tags
/// around it. It updates the ancestors of its place too, and of the last edit's place, unless that
/// was in the same element, its parent or a child. An edit of an ill-formed document parses all of
/// it again, into a second index, and so does adding a start tag alone.
///
/// Looking for an attribute, and setting one, reads the tag from its beginning: some 20 ns for each
/// attribute on the way. Setting n attributes of one element one after another takes time in
/// proportion to the square of n: 1,000 take about 10 ms.
///
/// Threads: one at a time; nothing is shared between documents.
/// Ownership: all text is copied in; views that are returned are valid until the next change.
/// Errors: bad content never throws. `std::bad_alloc` leaves the document as it was. A null view is
/// an empty text. A pointer must not be null unless its description allows it.
class MXmlDocument {
 public:
  /// Document flag: names that differ only in the case of the letters A to Z are the same.
  static constexpr std::uint32_t kIgnoreCase = 0x08;

  /// `AddElement`: writes the data as a CDATA section instead of escaping it.
  static constexpr std::uint32_t kAddCData = 0x01;
  /// `AddElement`: writes no end tag. The document is ill formed until it has one.
  static constexpr std::uint32_t kAddStartTagOnly = 0x02;
  /// `AddElement`: writes an element without data with a space, as in "<a />".
  static constexpr std::uint32_t kAddSpaceBeforeSlash = 0x04;
  /// `AddElement`: adds a child of the current element instead of its next sibling.
  static constexpr std::uint32_t kAddAsChild = 0x4000;

  /// `Escape`: keeps the references in the text.
  static constexpr std::uint32_t kEscapeKeepReferences = 0x08;
  /// `Escape`: escapes both quotes too.
  static constexpr std::uint32_t kEscapeQuotes = 0x100;

  /// An empty document: no text, no errors, not well formed since it has no root element.
  VELTA_API MXmlDocument();
  MXmlDocument(const MXmlDocument&) = delete;
  MXmlDocument& operator=(const MXmlDocument&) = delete;
  VELTA_API ~MXmlDocument();

  // --- The text ---

  /// Replaces the text and parses it. The position is the top; saved positions are dropped.
  ///
  /// @return whether the document is well formed; if not, `GetErrorText` says why. An ill-formed
  ///         document can be walked as far as it was parsed.
  ///
  /// Errors: none thrown, except by copying the text for the call. When memory runs out the
  /// document is empty, the errors end with "Out of memory", and `HasRunOutOfMemory` returns true.
  /// When the text is too long the document is empty, and the errors end with "Document too long".
  [[nodiscard]] VELTA_API bool SetText(MString text) noexcept;

  /// The whole text, valid until the next change.
  [[nodiscard]] VELTA_API const MString& GetText() const noexcept;

  /// Whether the document, as it is now, has no fault and exactly one root element.
  [[nodiscard]] VELTA_API bool IsWellFormed() const noexcept;

  /// Whether memory ran out in the last `SetText`: its text may be well formed.
  [[nodiscard]] VELTA_API bool HasRunOutOfMemory() const noexcept;

  /// The faults that `SetText` has found, in the order of finding, joined with ", ".
  ///
  /// Each `SetText` appends its faults to the earlier ones: call `ClearErrorText` before a document
  /// is used again. The text is bounded: past 16,384 characters it ends in " ... (cut)". An edit
  /// that parses the document again (see the costs) replaces the faults of the last parse; any
  /// other edit leaves them.
  [[nodiscard]] VELTA_API const MString& GetErrorText() const noexcept;
  VELTA_API void ClearErrorText() noexcept;

  /// The offset of the first fault in the last parse that has a place in the text, or -1.
  [[nodiscard]] VELTA_API std::int32_t GetErrorOffset() const noexcept;

  /// Line and column of an offset, both from 1.
  ///
  /// A line ends with a line feed, a carriage return, or both together. Reads the text up to there.
  ///
  /// @param offset  where; past the end counts as the end, below 0 as the beginning
  VELTA_API void GetLineAndColumn(std::int32_t offset, std::int32_t* line,
                                  std::int32_t* column) const noexcept;

  /// The document's flags: `kIgnoreCase` or 0. They apply to what is parsed and compared from now
  /// on.
  VELTA_API void SetFlags(std::uint32_t flags) noexcept;
  [[nodiscard]] VELTA_API std::uint32_t GetFlags() const noexcept;

  // --- Moving ---

  /// Goes to the top of the document, before its first node.
  VELTA_API void ResetPosition() noexcept;

  /// Moves to the next element on the current level.
  ///
  /// @return false, without moving, when there is none
  [[nodiscard]] VELTA_API bool FindElement() noexcept;

  /// The same for the next element of that name; others are passed over.
  [[nodiscard]] VELTA_API bool FindElement(std::wstring_view name) noexcept;

  /// Moves to the next node on the current level that is of one of the given types.
  ///
  /// @param types  one or more types; elements are found only when `kElement` is one of them
  /// @return the type of the node found; `kNone`, without moving, when there is none
  [[nodiscard]] VELTA_API MXmlNodeType FindNode(MXmlNodeType types) noexcept;

  /// Moves from the current child to the next child of the current element, of that name if given.
  ///
  /// @return false, without moving, when there is none or there is no current element
  [[nodiscard]] VELTA_API bool FindChildElement() noexcept;
  [[nodiscard]] VELTA_API bool FindChildElement(std::wstring_view name) noexcept;

  /// Makes the children of the current element the current level; its current child, if it has one,
  /// becomes the current element.
  ///
  /// @return false when there is no current element
  [[nodiscard]] VELTA_API bool IntoElement() noexcept;

  /// Returns to the level around; the element that is left becomes current.
  ///
  /// @return false at the top of the document
  [[nodiscard]] VELTA_API bool OutOfElement() noexcept;

  /// Remembers the current child, else the current element, else the current level, under a name.
  ///
  /// It replaces a position that was saved under the same name. It keeps naming its element through
  /// all edits, and is dropped together with it. With another node current, the level is saved.
  ///
  /// Errors: `std::bad_alloc`; a position saved earlier under the name stays.
  VELTA_API void SavePosition(std::wstring_view name = {});

  /// Returns to a saved position: the same child, element or level. It stays saved.
  ///
  /// @return false, without moving, when nothing is saved under that name
  [[nodiscard]] VELTA_API bool RestorePosition(std::wstring_view name = {}) noexcept;

  // --- The current node ---

  /// What the current node is; `kNone` when there is none.
  [[nodiscard]] VELTA_API MXmlNodeType GetNodeType() const noexcept;

  /// Where the current node begins and how long it is; -1 and 0 when there is none.
  [[nodiscard]] VELTA_API std::int32_t GetOffset() const noexcept;
  [[nodiscard]] VELTA_API std::int32_t GetLength() const noexcept;

  /// The current element's name, a processing instruction's target, a document type's name;
  /// "#text", "#cdata-section" or "#comment" for such nodes. Empty when there is no current node.
  [[nodiscard]] VELTA_API std::wstring_view GetTagName() const noexcept;
  [[nodiscard]] VELTA_API std::wstring_view GetChildTagName() const noexcept;

  /// The current node as it is written, an element from its start tag to its end tag.
  [[nodiscard]] VELTA_API std::wstring_view GetNodeText() const noexcept;

  /// The value of an attribute of the current element or processing instruction, decoded.
  ///
  /// @param value  receives it; not touched otherwise. An attribute written without a value has the
  ///               empty one. May be null
  /// @return false when there is no such attribute or no node that could have one
  [[nodiscard]] VELTA_API bool GetAttribute(std::wstring_view name, MString* value) const;
  [[nodiscard]] VELTA_API bool GetChildAttribute(std::wstring_view name, MString* value) const;

  /// The same as `GetAttribute`, with an empty text for an attribute that is missing.
  [[nodiscard]] VELTA_API MString GetAttribute(std::wstring_view name) const;

  /// Goes through the attributes of the current element or processing instruction in their order.
  ///
  /// @param cursor  0 for the first; each call advances it. Start again after a change
  /// @return false after the last, or when there is no node that could have one
  [[nodiscard]] VELTA_API bool GetNextAttribute(std::int32_t* cursor, MString* name,
                                                MString* value) const;

  /// The data of the current node.
  ///
  /// Of an element: its own text, decoded, and its CDATA sections, in their order, without what is
  /// in child elements, comments and instructions. Line breaks are given as they are written. Of
  /// text: the text decoded; of other nodes: what stands between their marks, as written.
  ///
  /// @param data  receives it, replacing what was there; may be null
  /// @return false, without touching `data`, when there is no current node
  [[nodiscard]] VELTA_API bool GetData(MString* data) const;
  [[nodiscard]] VELTA_API bool GetChildData(MString* data) const;

  /// The same, empty when there is no current node.
  [[nodiscard]] VELTA_API MString GetData() const;

  // --- Editing ---

  // A name that is written begins with a letter, a colon, an underscore or a character from 128 on;
  // digits, hyphens and full stops may follow too. Every operation here returns false, and changes
  // nothing, for any other name, and for a text that would grow past its limit. In an ill-formed
  // document it also does so where a fault before the place would swallow what is added, as the
  // comment without an end does in "<r/><!--".

  /// Adds an element after the current node; with no current node, as the last of the level.
  ///
  /// It becomes the current element, or with `kAddAsChild` the current child. A line feed follows
  /// it.
  ///
  /// @param data   its text, escaped; an element without data is written as an empty tag
  /// @param flags  of `kAddCData`, `kAddStartTagOnly`, `kAddSpaceBeforeSlash`, `kAddAsChild`
  /// @return false also for `kAddAsChild` without a current element
  ///
  /// A child is added after the current child, else after all content. A second element at the top
  /// is added, and the document is then not well formed.
  [[nodiscard]] VELTA_API bool AddElement(std::wstring_view name, std::wstring_view data = {},
                                          std::uint32_t flags = 0);

  /// Adds a node that is not an element where `AddElement` would add one, and makes it current.
  ///
  /// @param type  one type: `kProcessingInstruction` (`content` is the target, or target and
  ///              attributes), `kComment`, `kDocumentType` (`content` follows "<!DOCTYPE "): a line
  ///              feed follows these; or `kText`, `kWhitespace`, `kCData`: none does
  /// @return false also for `kElement`, for content that would end the node early or not read back
  ///         as that node, as "--" in a comment or no content in a text
  ///
  /// A text next to a text is one node with it as soon as the position moves. A CDATA section that
  /// contains "]]>" is written as two; the last is current.
  [[nodiscard]] VELTA_API bool AddNode(MXmlNodeType type, std::wstring_view content);

  /// Sets an attribute of the current element or processing instruction.
  ///
  /// An existing attribute gets the value in its place; a new one is added as the last.
  ///
  /// @return false also when there is no such node, or its tag ends in an attribute that is not
  ///         complete
  [[nodiscard]] VELTA_API bool SetAttribute(std::wstring_view name, std::wstring_view value);
  [[nodiscard]] VELTA_API bool SetChildAttribute(std::wstring_view name, std::wstring_view value);

  /// Adds the root element of another document, with all its content, as a child of the current
  /// element: after the current child, else after all content. It becomes the current child.
  ///
  /// @param xml  a well-formed document; what stands around its root element is left out
  /// @return false also when there is no current element or `xml` is not well formed
  [[nodiscard]] VELTA_API bool AddChildDocument(std::wstring_view xml);

  /// Removes the current element with all its content and the line break after it.
  ///
  /// The element before it becomes current, so that `FindElement` finds the one after it.
  /// Positions saved inside are dropped.
  ///
  /// @return false when there is no current element
  [[nodiscard]] VELTA_API bool RemoveElement();

  // --- Characters ---

  /// Writes "<", "&" and ">" as references, for text; with `kEscapeQuotes` quotes too, for values.
  ///
  /// With `kEscapeKeepReferences` an ampersand that begins a reference, as in "&amp;" or "&#10;",
  /// stays.
  [[nodiscard]] VELTA_API static MString Escape(std::wstring_view text, std::uint32_t flags = 0);

  /// Turns references back into characters: the five named ones and numbers up to 0x10FFFF.
  ///
  /// Anything else stays as it is. A number above 0xFFFF becomes two characters where `wchar_t` has
  /// 16 bits.
  [[nodiscard]] VELTA_API static MString Unescape(std::wstring_view text);

 private:
  friend class Velta::Xml::DocumentAccess;  // for the filers

  std::unique_ptr<Velta::Xml::DocumentState> state_;
};
