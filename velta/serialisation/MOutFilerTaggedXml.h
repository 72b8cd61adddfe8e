// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/serialisation/IOutFilerTagged.h"
#include "velta/text/MLocale.h"
#include "velta/text/MString.h"

#include <cstdint>
#include <memory>
#include <string_view>

class MXmlDocument;

namespace Velta::Serialisation {
class FieldAccess;
}

VELTA_EXPORTS_BEGIN

/// Writes named values and groups into an XML document in memory.
///
/// ```cpp
/// MOutFilerTaggedXml filer(L"Settings", L"urn:settings");
/// bool stored = filer.WriteInt(L"Count", 42) && filer.BeginGroup(L"Panel") &&
///               filer.WriteBool(L"Visible", true) && filer.EndGroup();
/// MString text;
/// stored = stored && filer.GetText(&text);
/// ```
///
/// Each value is an element with a "type" attribute, each group an element without one. Numbers are
/// written in the "C" locale: a double with 16 significant digits, a float with 9. So floats come
/// back as they were, and so do doubles of up to 15 digits; others may come back off by a unit in
/// the last place, by four at most, and the largest as infinity. Infinity is written as "inf"; what
/// is not a number comes back as such, without its payload.
///
/// Tags are element names: every operation returns false, and writes nothing, for a tag that is
/// none. Every other text is written so that it is read back unchanged. What XML itself has no
/// place for, as control characters, stays as it is in memory, but other programs may refuse the
/// document.
///
/// A value costs the same at the end of a document of any size. Each enclosing group adds the move
/// of its end tag: inside 1,000 groups a value takes two to three times as long as inside one.
/// Errors thrown: `std::bad_alloc`; nothing is then written.
class VELTA_API MOutFilerTaggedXml : public IOutFilerTagged {
 public:
  /// Begins a document whose root element is the outermost group.
  ///
  /// When `rootName` is no element name there is no document, and every operation returns false.
  /// @param namespaceText  the root's "xmlns" attribute; none when empty
  MOutFilerTaggedXml(const MString& rootName, const MString& namespaceText);
  ~MOutFilerTaggedXml() override;

  // With what does not compile.
  using IOutFilerTagged::WriteBool;
  using IOutFilerTagged::WriteByte;
  using IOutFilerTagged::WriteChar;
  using IOutFilerTagged::WriteDouble;
  using IOutFilerTagged::WriteFloat;
  using IOutFilerTagged::WriteInt;
  using IOutFilerTagged::WriteShort;
  using IOutFilerTagged::WriteUnsignedInt;
  using IOutFilerTagged::WriteUnsignedShort;

  bool WriteChar(const MString& tag, char value) override;
  bool WriteString(const MString& tag, const MString& value) override;
  bool WriteDouble(const MString& tag, double value) override;
  bool WriteFloat(const MString& tag, float value) override;
  bool WriteBool(const MString& tag, bool value) override;
  bool WriteByte(const MString& tag, std::uint8_t value) override;
  bool WriteUnsignedShort(const MString& tag, std::uint16_t value) override;
  bool WriteShort(const MString& tag, std::int16_t value) override;
  bool WriteUnsignedInt(const MString& tag, std::uint32_t value) override;
  bool WriteInt(const MString& tag, std::int32_t value) override;
  bool BeginGroup(const MString& tag) override;

  /// @return false, without an effect, when no group is begun
  bool EndGroup() override;

  /// @return false also when `xml` is not well formed; nothing is then written
  bool WriteEmbeddedDocument(const MString& tag, const MString& xml) override;

  /// Copies the whole document; `text` must not be null.
  /// @return false when there is none
  [[nodiscard]] bool GetText(MString* text) const;

 private:
  friend class Velta::Serialisation::FieldAccess;  // to write what it has kept

  bool WriteValue(const MString& tag, std::wstring_view type, std::wstring_view text);
  template <class T>
  bool WriteInteger(const MString& tag, std::wstring_view type, T value);
  bool WriteFloating(const MString& tag, double value, int digitsAfterPoint);

  std::unique_ptr<MXmlDocument> document_;  // null when its construction failed
  MLocale numberLocale_;
  MString scratch_;         // where numbers are formatted; kept for its capacity
  std::int32_t depth_ = 0;  // groups begun and not ended
};

VELTA_EXPORTS_END
