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

/// A small XML document in memory: one text, and beside it an index of where its elements are.
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
/// **Position.** A document has a current level, the children of one element or, at the top, the
/// nodes outside every element. On it stands the current node, an element or another node, or none:
/// the position is then before the first node. An element may have a current child. A search that
/// finds nothing leaves the position alone.
///
/// **What is checked.** Tags must match and tokens be complete; there must be exactly one root
/// element. Attributes are not looked at before they are asked for, entities are not declared, text
/// outside the root is passed over. Names are compared exactly unless `kIgnoreCase` is set.
///
/// **Units.** Offsets and lengths count characters of the text (`wchar_t`), from 0. A text has at
/// most 2^31 - 1 of them.
///
/// **Costs.** Reading the text takes time in proportion to its length, whatever its depth, width or
/// the size of a tag; the index takes 36 bytes an element and some room to grow. A step between
/// elements is a look-up. An edit moves the text and the elements behind it: at the end of a
/// document it costs the same in a small and a large one, and deep inside it also moves the end
/// tags around it. One that is neither in the element that the edit before was in, nor in its
/// parent or a child, touches the ancestors of both places too. An edit of an ill-formed document
/// parses all of it again, into a second index, and so does adding a start tag alone.
///
/// Looking for an attribute reads the tag from its beginning, and so does setting one: some 20 ns
/// for each attribute on the way. Setting n attributes of one element one after another takes time
/// in proportion to the square of n: of 1,000 about 10 ms.
///
/// Threads: one at a time; nothing is shared between documents.
/// Ownership: all text is copied in; views that are handed out are valid until the next change.
/// Errors: bad content never throws. `std::bad_alloc` leaves the document as it was. A null view is
/// an empty text. Pointers must not be null where it is not said that they may.
class MXmlDocument {
 public:
  /// Document flag: names that differ only in the case of the letters A to Z are the same.
  static constexpr std::uint32_t kIgnoreCase = 0x08;

  /// `AddElement`: writes the data as a CDATA section instead of escaping it.
  static constexpr std::uint32_t kAddCData = 0x01;
  /// `AddElement`: writes no end tag. The document is ill formed until one is there.
  static constexpr std::uint32_t kAddStartTagOnly = 0x02;
  /// `AddElement`: writes an element without data with a space, as in "<a />".
  static constexpr std::uint32_t kAddSpaceBeforeSlash = 0x04;
  /// `AddElement`: adds a child of the current element instead of its next sibling.
  static constexpr std::uint32_t kAddAsChild = 0x4000;

  /// `Escape`: leaves references that are already there alone.
  static constexpr std::uint32_t kEscapeKeepReferences = 0x08;
  /// `Escape`: escapes both quotes too.
  static constexpr std::uint32_t kEscapeQuotes = 0x100;

  /// An empty document: no text, no errors, not well formed for want of a root element.
  VELTA_API MXmlDocument();
  MXmlDocument(const MXmlDocument&) = delete;
  MXmlDocument& operator=(const MXmlDocument&) = delete;
  VELTA_API ~MXmlDocument();

  // --- The text ---

  /// Replaces the text and reads it. The position is the top; saved positions are dropped.
  ///
  /// @return whether the document is well formed; if not, `GetErrorText` says why. An ill-formed
  ///         document can be walked as far as it was understood.
  ///
  /// Errors: none thrown, but where the text is copied for the call. When memory runs out the
  /// document is empty, the errors end with "Out of memory", and `HasRunOutOfMemory` says so; a
  /// text that is too long leaves it empty with "Document too long".
  [[nodiscard]] VELTA_API bool SetText(MString text) noexcept;

  /// The whole text, valid until the next change.
  [[nodiscard]] VELTA_API const MString& GetText() const noexcept;

  /// Whether no fault was found and there is exactly one root element, in the document as it is
  /// now.
  [[nodiscard]] VELTA_API bool IsWellFormed() const noexcept;

  /// Whether the last `SetText` ended for want of memory: whether its text is well formed is
  /// unknown.
  [[nodiscard]] VELTA_API bool HasRunOutOfMemory() const noexcept;

  /// The faults found by `SetText`, in the order in which they were met, joined with ", ".
  ///
  /// A later `SetText` adds its own behind them: empty it with `ClearErrorText` first when a
  /// document is used again. The text is bounded: past 16,384 characters it ends in " ... (cut)".
  /// An edit that parses the document again (see the costs) replaces what the last parse has found;
  /// any other changes nothing here.
  [[nodiscard]] VELTA_API const MString& GetErrorText() const noexcept;
  VELTA_API void ClearErrorText() noexcept;

  /// The offset of the first fault that the last reading found at a place in the text, or -1.
  [[nodiscard]] VELTA_API std::int32_t GetErrorOffset() const noexcept;

  /// Line and column of an offset, both from 1.
  ///
  /// A line ends with a line feed, a carriage return, or both together. Reads the text up to there.
  ///
  /// @param offset  where; past the end counts as the end, below 0 as the beginning
  VELTA_API void GetLineAndColumn(std::int32_t offset, std::int32_t* line,
                                  std::int32_t* column) const noexcept;

  /// The document's flags: `kIgnoreCase` or 0. They hold for what is read and compared from now on.
  VELTA_API void SetFlags(std::uint32_t newFlags) noexcept;
  [[nodiscard]] VELTA_API std::uint32_t GetFlags() const noexcept;

  // --- Moving about ---

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
  /// @param types  one or more types; elements are among them only when named
  /// @return the type of the node found; `kNone`, without moving, when there is none
  [[nodiscard]] VELTA_API MXmlNodeType FindNode(MXmlNodeType types) noexcept;

  /// Moves the current element's child on to the next one, of that name if one is given.
  ///
  /// @return false, without moving, when there is none or there is no current element
  [[nodiscard]] VELTA_API bool FindChildElement() noexcept;
  [[nodiscard]] VELTA_API bool FindChildElement(std::wstring_view name) noexcept;

  /// Makes the children of the current element the current level; its current child, if it has one,
  /// becomes the current element.
  ///
  /// @return false when there is no current element
  [[nodiscard]] VELTA_API bool IntoElement() noexcept;

  /// Goes back to the level around; the element just left is current.
  ///
  /// @return false at the top of the document
  [[nodiscard]] VELTA_API bool OutOfElement() noexcept;

  /// Remembers the current child, else the current element, else the current level, under a name.
  ///
  /// A position saved under the same name before is replaced. It goes on naming its element through
  /// all edits, and is dropped together with it. A current node that is no element is not saved: it
  /// counts as the level.
  ///
  /// Errors: `std::bad_alloc`; a position saved under the name before stays.
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
  /// @param cursor  0 for the first; moved on by each call. Start again after a change
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

  // Names that are written begin with a letter, a colon, an underscore or a character from 128 on,
  // and go on with these, digits, hyphens and full stops. Every operation here returns false, and
  // changes nothing, for any other name, for a text that would grow past its limit, and in an
  // ill-formed document where a fault before the place would swallow what is added, as the comment
  // without an end does in "<r/><!--".

  /// Adds an element after the current node; with no current node, as the last of the level.
  ///
  /// It becomes the current element, or with `kAddAsChild` the current child. A line feed follows
  /// it.
  ///
  /// @param data   its text, escaped; an element without data is written as an empty tag
  /// @param flags  of `kAddCData`, `kAddStartTagOnly`, `kAddSpaceBeforeSlash`, `kAddAsChild`
  /// @return false also for `kAddAsChild` without a current element
  ///
  /// As a child it stands behind the current child, else behind all content. A second element at
  /// the top is added, and makes the document ill formed.
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
  /// A text beside a text is one with it as soon as the position moves. A CDATA section that
  /// contains "]]>" is written as two; the last is current.
  [[nodiscard]] VELTA_API bool AddNode(MXmlNodeType type, std::wstring_view content);

  /// Sets an attribute of the current element or processing instruction.
  ///
  /// An attribute that is there gets its value replaced in place, another is added as the last.
  ///
  /// @return false also when there is no such node, or its tag ends in an attribute that is not
  ///         complete
  [[nodiscard]] VELTA_API bool SetAttribute(std::wstring_view name, std::wstring_view value);
  [[nodiscard]] VELTA_API bool SetChildAttribute(std::wstring_view name, std::wstring_view value);

  /// Adds the root element of another document, with all its content, as a child of the current
  /// element: behind the current child, else behind all content. It becomes the current child.
  ///
  /// @param xml  a well-formed document; what stands around its root element is left out
  /// @return false also when there is no current element or `xml` is not well formed
  [[nodiscard]] VELTA_API bool AddChildDocument(std::wstring_view xml);

  /// Removes the current element with all its content and the line break behind it.
  ///
  /// The element before it becomes current, so that `FindElement` finds the one behind it.
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
  /// Anything else stays as it is. A number above 0xFFFF is two characters where `wchar_t` has 16
  /// bits.
  [[nodiscard]] VELTA_API static MString Unescape(std::wstring_view text);

 private:
  friend class Velta::Xml::DocumentAccess;  // for the filers

  std::unique_ptr<Velta::Xml::DocumentState> state;
};
