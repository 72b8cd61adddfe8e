// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/serialisation/IFilerTaggedRegistryBase.h"
#include "velta/serialisation/IOutFilerTagged.h"
#include "velta/serialisation/MTypedPtrArray.h"
#include "velta/text/MString.h"

#include <cstddef>
#include <cstdint>

VELTA_EXPORTS_BEGIN

/// Writes named values and groups into the registry: a tag is the name of a value, a group a key.
///
/// ```cpp
/// IOutFilerTaggedRegistry filer(L"Editor");
/// bool stored = filer.WriteInt(L"Count", 42) && filer.BeginGroup(L"Panel") &&
///               filer.WriteBool(L"Visible", true) && filer.EndGroup();
/// ```
///
/// stores "Count" in `HKEY_CURRENT_USER\Software\Velta\Editor` and "Visible" in its key "Panel".
///
/// Each value is in the registry when its write returns: written at once, in place of an older one
/// of that name, whole or not at all. No key stays open in between. Keys are created as they are
/// needed, so a group without a value leaves none. Values are not typed beyond what is listed here,
/// and not ordered: they may be read in any order, and again.
///
/// | value | stored as |
/// |---|---|
/// | char, byte, unsigned short, unsigned int | REG_DWORD, zero-extended |
/// | short, int | REG_DWORD, sign-extended |
/// | bool | REG_DWORD, 0 or 1 |
/// | string | REG_SZ with its terminator |
/// | double | REG_SZ, as printf's "%.14le" |
/// | float | REG_SZ, as printf's "%e" |
///
/// Every integer, character, string and bool comes back as it was. A double keeps 15 significant
/// digits and a float 7, too few for most values: what comes back is the number nearest to that
/// text. Fractions of few digits, zero with its sign and infinity come back unchanged, the largest
/// double as infinity, and what is not a number as such without its payload. Numbers have the "C"
/// locale's form.
///
/// Names are compared without case. There is one group of a name, so that writing several in turn,
/// as chains of errors do, leaves the last: write those into an `MOutFilerTaggedXml` and store its
/// text as a string. A "\" in a group's tag leads through several keys, one in a value's tag is an
/// ordinary character, an empty group is the one around it, and a value without a name is the key's
/// default value. A write returns false, and nothing is stored, when a tag on the way holds a null
/// character, begins a path with "\" or is longer than the registry allows, and when a key cannot
/// be opened for writing.
///
/// Errors thrown: `std::bad_alloc`; an `MException` that holds an `MErrorOutOfMemory` when there is
/// no room for another group.
/// Threads: one at a time. Several filers and processes may write at once.
class VELTA_API IOutFilerTaggedRegistry : public IOutFilerTagged, public IFilerTaggedRegistryBase {
 public:
  explicit IOutFilerTaggedRegistry(const MString& applicationKeyName);
  ~IOutFilerTaggedRegistry() override;

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

  /// @return true; whether the group can be written to shows with its first value
  bool BeginGroup(const MString& tag) override;

  /// @return false, without an effect, when no group is begun
  bool EndGroup() override;

  /// Not supported. @return false
  bool WriteEmbeddedDocument(const MString& tag, const MString& xml) override;

 private:
  bool WriteValue(const MString& tag, std::uint32_t type, const void* data, std::size_t size) const;
  bool WriteNumber(const MString& tag, std::uint32_t value) const;
  bool WriteFloating(const MString& tag, double value, int digitsAfterPoint);

  MString applicationKeyName_;
  MTypedPtrArray<MString, const MString&> groups_;  // the innermost last
};

VELTA_EXPORTS_END
