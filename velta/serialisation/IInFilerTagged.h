// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/serialisation/FitsInto.h"
#include "velta/text/MLocale.h"
#include "velta/text/MString.h"

#include <cstdint>

/// Reads back what an `IOutFilerTagged` wrote.
///
/// Values inside a group are read in the order in which they were written; groups in any order. A
/// value that is missing or of another type is no error: the result takes the default, the read
/// returns false and consumes nothing.
///
/// Every read stores `defaultValue` first. Pointers must not be null.
/// Threads: one at a time.
class VELTA_API IInFilerTagged {
 public:
  virtual ~IInFilerTagged();

  IInFilerTagged(const IInFilerTagged&) = delete;
  IInFilerTagged& operator=(const IInFilerTagged&) = delete;

  // The order of the operations is part of the binary interface. It differs from the writer's: here
  // strings come before characters.
  [[nodiscard]] virtual bool ReadString(const MString& tag, MString* value,
                                        const MString& defaultValue) = 0;
  [[nodiscard]] virtual bool ReadChar(const MString& tag, char* value, char defaultValue) = 0;
  [[nodiscard]] virtual bool ReadDouble(const MString& tag, double* value, double defaultValue) = 0;
  [[nodiscard]] virtual bool ReadFloat(const MString& tag, float* value, float defaultValue) = 0;
  [[nodiscard]] virtual bool ReadBool(const MString& tag, bool* value, bool defaultValue) = 0;
  [[nodiscard]] virtual bool ReadByte(const MString& tag, std::uint8_t* value,
                                      std::uint8_t defaultValue) = 0;
  [[nodiscard]] virtual bool ReadUnsignedShort(const MString& tag, std::uint16_t* value,
                                               std::uint16_t defaultValue) = 0;
  [[nodiscard]] virtual bool ReadShort(const MString& tag, std::int16_t* value,
                                       std::int16_t defaultValue) = 0;
  [[nodiscard]] virtual bool ReadUnsignedInt(const MString& tag, std::uint32_t* value,
                                             std::uint32_t defaultValue) = 0;
  [[nodiscard]] virtual bool ReadInt(const MString& tag, std::int32_t* value,
                                     std::int32_t defaultValue) = 0;

  // A default that the operation's type might not hold does not compile: a literal for an unsigned
  // operation has the suffix u.
  template <Velta::MayChangeIn<char> Value>
  bool ReadChar(const MString& tag, char* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<double> Value>
  bool ReadDouble(const MString& tag, double* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<float> Value>
  bool ReadFloat(const MString& tag, float* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<bool> Value>
  bool ReadBool(const MString& tag, bool* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<std::uint8_t> Value>
  bool ReadByte(const MString& tag, std::uint8_t* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<std::uint16_t> Value>
  bool ReadUnsignedShort(const MString& tag, std::uint16_t* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<std::int16_t> Value>
  bool ReadShort(const MString& tag, std::int16_t* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<std::uint32_t> Value>
  bool ReadUnsignedInt(const MString& tag, std::uint32_t* value, Value defaultValue) = delete;
  template <Velta::MayChangeIn<std::int32_t> Value>
  bool ReadInt(const MString& tag, std::int32_t* value, Value defaultValue) = delete;

  /// Kept for the layout of the interface; returns false unless a filer gives it a meaning.
  [[nodiscard]] virtual bool ReadReserved(const MString& tag);

  /// Goes into the next group of that name, past whatever stands before it, until `EndGroup`.
  ///
  /// @return false, without moving, when there is none; a filer may say that it always enters
  [[nodiscard]] virtual bool BeginGroup(const MString& tag) = 0;
  [[nodiscard]] virtual bool EndGroup() = 0;

  /// The group of that name with all its content, as the text of an XML document of its own.
  [[nodiscard]] virtual bool ReadEmbeddedDocument(const MString& tag, MString* xml) = 0;

  /// Whether there is at most one group of a name, which `BeginGroup` enters every time.
  ///
  /// A loop that reads groups of one name until there is none must then stop after the first.
  bool HasUniqueGroupNames() const noexcept { return groupNames_ == GroupNames::kUnique; }

 protected:
  enum class GroupNames : bool { kRepeatable, kUnique };

  explicit IInFilerTagged(GroupNames groupNames = GroupNames::kRepeatable);

  /// For numbers: the "C" locale.
  const MLocale& GetLocale() const noexcept { return locale_; }

 private:
  MLocale locale_;
  GroupNames groupNames_;
};
