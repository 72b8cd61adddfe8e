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

namespace Velta::Serialisation {
class FieldAccess;
}

VELTA_EXPORTS_BEGIN

/// Reads what an `MOutFilerTaggedXml` wrote.
///
/// A value is read when it is the next element of its group and has the right tag and type: "float"
/// for both floating types, "int" and "uint" for either width. An integer that does not fit into
/// the result's type counts as missing; a floating value that is too large becomes infinite.
/// Numbers are read in the "C" locale, and text after a number is ignored.
///
/// A value costs the same wherever it stands. `BeginGroup` looks through what stands before the
/// group, which is not found again once the group is entered, or, when there is none of that name,
/// through the whole rest of the enclosing group. Looking for a type reads the start tag of a value
/// from its beginning.
///
/// ```cpp
/// MInFilerTaggedXml filer(text, L"Settings", L"urn:settings");
/// if (!filer.HasDocument()) return Report(filer.GetFault());  // and leave what is stored alone
/// settings.Read(filer);
/// ```
///
/// Errors thrown: `std::bad_alloc`, from all but the constructor; nothing is then consumed.
class VELTA_API MInFilerTaggedXml : public IInFilerTagged {
 public:
  /// What kept a reader from its document.
  enum class FaultKind : std::uint8_t {
    kNone,       ///< nothing: there is a document
    kMemory,     ///< there is not enough memory; the text may be good
    kText,       ///< the text is ill formed, or too long
    kRoot,       ///< the root element has another name
    kNamespace,  ///< the root element has another namespace, or none
  };

  struct Fault {
    FaultKind kind = FaultKind::kNone;
    MString message;           ///< of a text `MXmlDocument::GetErrorText`; empty without memory
    std::int32_t offset = -1;  ///< in characters: of the first fault, or the root element; -1: none
    std::int32_t line = 0;     ///< where that is, both from 1; 0 without an offset
    std::int32_t column = 0;
  };

  /// Parses a document and enters its root element.
  ///
  /// When memory runs out, and for a malformed text, another root element or another namespace,
  /// nothing is thrown: the filer is left without a document, and every read gives its default. A
  /// host that saves what it has read would then put defaults in the place of what was stored: ask
  /// `HasDocument` before.
  /// @param expectedNamespace  what the root's "xmlns" attribute must be; not looked at when empty
  ///
  /// Errors: only those of copying an `MLocale`.
  MInFilerTaggedXml(const MString& text, const MString& expectedRootName,
                    const MString& expectedNamespace);
  ~MInFilerTaggedXml() override;

  /// Whether there is a document to read from. It stays so.
  [[nodiscard]] bool HasDocument() const noexcept { return document_ != nullptr; }

  /// Why there is none, as found by the constructor. Valid as long as the filer.
  [[nodiscard]] const Fault& GetFault() const noexcept { return fault_; }

  // With what does not compile.
  using IInFilerTagged::ReadBool;
  using IInFilerTagged::ReadByte;
  using IInFilerTagged::ReadChar;
  using IInFilerTagged::ReadDouble;
  using IInFilerTagged::ReadFloat;
  using IInFilerTagged::ReadInt;
  using IInFilerTagged::ReadShort;
  using IInFilerTagged::ReadUnsignedInt;
  using IInFilerTagged::ReadUnsignedShort;

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
  friend class Velta::Serialisation::FieldAccess;  // to read by name

  template <class Convert>
  bool ReadValue(const MString& tag, std::wstring_view type, Convert convert);
  template <class T>
  bool ReadInteger(const MString& tag, std::wstring_view type, T* value, T defaultValue);
  bool FindGroup(const MString& tag);

  std::unique_ptr<MXmlDocument> document_;  // null when its construction failed
  MLocale numberLocale_;
  std::int32_t depth_ = 0;  // groups begun and not ended
  MString scratch_;         // kept for its memory
  Fault fault_;
};

VELTA_EXPORTS_END
