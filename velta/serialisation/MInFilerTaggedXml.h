// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/text/MLocale.h"
#include "velta/text/MString.h"

#include <cstdint>
#include <memory>
#include <string_view>

class MXmlDocument;

VELTA_EXPORTS_BEGIN

/// Reads what an `MOutFilerTaggedXml` wrote.
///
/// A value is read when it is the next element of its group and has the right tag and type: "float"
/// for both floating types, "int" and "uint" for either width. An integer that does not fit into
/// the result's type counts as missing; a floating value that is too large becomes infinite.
/// Numbers are read in the "C" locale, and text behind a number is ignored.
///
/// A value costs the same wherever it stands. `BeginGroup` looks through what stands before the
/// group, which is not found again once the group is entered, or, when there is none of that name,
/// through the whole rest of the enclosing group. Looking for a type reads the start tag of a value
/// from its beginning.
///
/// Errors thrown: `std::bad_alloc`; nothing is then consumed.
class VELTA_API MInFilerTaggedXml : public IInFilerTagged {
 public:
  /// Reads a document and stands in its root element.
  ///
  /// A malformed text, another root element or another namespace leave the filer without a
  /// document: every read then gives its default. Parse the text with `MXmlDocument` to learn what
  /// is wrong.
  /// @param expectedNamespace  what the root's "xmlns" attribute must be; not looked at when empty
  MInFilerTaggedXml(const MString& text, const MString& expectedRootName,
                    const MString& expectedNamespace);
  ~MInFilerTaggedXml() override;

  bool ReadString(const MString& tag, MString* value, const MString& defaultValue) override;
  bool ReadChar(const MString& tag, char* value, char defaultValue) override;
  bool ReadDouble(const MString& tag, double* value, double defaultValue) override;
  bool ReadFloat(const MString& tag, float* value, float defaultValue) override;
  bool ReadBool(const MString& tag, bool* value, bool defaultValue) override;
  bool ReadByte(const MString& tag, std::uint8_t* value, std::uint8_t defaultValue) override;
  bool ReadUnsignedShort(const MString& tag, std::uint16_t* value,
                         std::uint16_t defaultValue) override;
  bool ReadShort(const MString& tag, std::int16_t* value, std::int16_t defaultValue) override;
  bool ReadUnsignedInt(const MString& tag, std::uint32_t* value,
                       std::uint32_t defaultValue) override;
  bool ReadInt(const MString& tag, std::int32_t* value, std::int32_t defaultValue) override;
  bool BeginGroup(const MString& tag) override;

  /// @return false, without an effect, when no group is begun
  bool EndGroup() override;

  /// The group becomes the only child of a root element named "MFilerTaggedXml".
  bool ReadEmbeddedDocument(const MString& tag, MString* xml) override;

 private:
  template <class Convert>
  bool ReadValue(const MString& tag, std::wstring_view type, Convert convert);
  template <class T>
  bool ReadInteger(const MString& tag, std::wstring_view type, T* value, T defaultValue);
  bool FindGroup(const MString& tag);

  std::unique_ptr<MXmlDocument> document;  // null when its construction failed
  MLocale numberLocale;
  std::int32_t depth = 0;  // groups begun and not ended
  MString scratch;         // kept for its memory
};

VELTA_EXPORTS_END
