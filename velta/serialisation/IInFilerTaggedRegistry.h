// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/serialisation/IFilerTaggedRegistryBase.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/MTypedPtrArray.h"
#include "velta/text/MString.h"

#include <cstdint>

namespace Velta::Serialisation {
class FieldAccess;
}

VELTA_EXPORTS_BEGIN

/// Reads what an `IOutFilerTaggedRegistry` wrote.
///
/// Nothing is consumed: values and groups may be read in any order, and again, and what another
/// process wrote is seen by the next read. A read returns false, with the default, when the value
/// or one of its keys is missing or may not be read, when its data is longer than four bytes where
/// a number is wanted, and when a string is wanted and the value is none. Only `ReadChar` also asks
/// for a REG_DWORD; the other integers take the low bits of whatever is stored.
///
/// Errors thrown: `std::bad_alloc`; an `MException` that holds an `MErrorOutOfMemory` when there is
/// no room for another group.
/// Threads: one at a time.
class VELTA_API IInFilerTaggedRegistry : public IInFilerTagged, public IFilerTaggedRegistryBase {
 public:
  /// @param readOnly  true to ask for nothing but read access and to create nothing. Otherwise the
  ///                  company's and the application's key are created when they are missing, and
  ///                  opened for writing too where that is allowed. What is read is the same
  IInFilerTaggedRegistry(const MString& applicationKeyName, bool readOnly);
  ~IInFilerTaggedRegistry() override;

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

  /// One terminator at the end is not part of the text; null characters before it are.
  bool ReadString(const MString& tag, MString* value, const MString& defaultValue) override;
  bool ReadChar(const MString& tag, char* value, char defaultValue) override;

  /// What scanf reads by "%lf" in the "C" locale: leading white space and text after the number
  /// are ignored.
  bool ReadDouble(const MString& tag, double* value, double defaultValue) override;

  /// The same by "%f".
  bool ReadFloat(const MString& tag, float* value, float defaultValue) override;
  bool ReadBool(const MString& tag, bool* value, bool defaultValue) override;
  bool ReadByte(const MString& tag, std::uint8_t* value, std::uint8_t defaultValue) override;
  bool ReadUnsignedShort(const MString& tag, std::uint16_t* value,
                         std::uint16_t defaultValue) override;
  bool ReadShort(const MString& tag, std::int16_t* value, std::int16_t defaultValue) override;
  bool ReadUnsignedInt(const MString& tag, std::uint32_t* value,
                       std::uint32_t defaultValue) override;
  bool ReadInt(const MString& tag, std::int32_t* value, std::int32_t defaultValue) override;

  /// @return true, also when there is no such group: its values are then missing
  bool BeginGroup(const MString& tag) override;

  /// @return false, without an effect, when no group is begun
  bool EndGroup() override;

  /// Not supported. @return false, with an empty text
  bool ReadEmbeddedDocument(const MString& tag, MString* xml) override;

 private:
  friend class Velta::Serialisation::FieldAccess;  // to read by name

  bool ReadNumber(const MString& tag, std::uint32_t* value, std::uint32_t* type) const;
  template <class T>
  bool ReadInteger(const MString& tag, T* value, T defaultValue) const;
  template <class T>
  bool ReadFloating(const MString& tag, const wchar_t* format, T* value, T defaultValue);

  MString applicationKeyName_;
  bool readOnly_;
  MTypedPtrArray<MString, const MString&> groups_;  // the innermost last
};

VELTA_EXPORTS_END
