// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/serialisation/FitsInto.h"
#include "velta/text/MLocale.h"
#include "velta/text/MString.h"

#include <cstdint>

/// Writes named, typed values in nested groups.
///
/// Objects store their settings through this interface only, and so need not know the store.
/// Values are read back in the order in which they were written; groups in any order.
///
/// Every write returns whether the value was stored; none throws because it could not be stored.
/// Threads: one at a time.
class VELTA_API IOutFilerTagged {
 public:
  virtual ~IOutFilerTagged();

  IOutFilerTagged(const IOutFilerTagged&) = delete;
  IOutFilerTagged& operator=(const IOutFilerTagged&) = delete;

  // The order of the operations is part of the binary interface. It differs from the reader's: here
  // characters come before strings.
  [[nodiscard]] virtual bool WriteChar(const MString& tag, char value) = 0;
  [[nodiscard]] virtual bool WriteString(const MString& tag, const MString& value) = 0;
  [[nodiscard]] virtual bool WriteDouble(const MString& tag, double value) = 0;
  [[nodiscard]] virtual bool WriteFloat(const MString& tag, float value) = 0;
  [[nodiscard]] virtual bool WriteBool(const MString& tag, bool value) = 0;
  [[nodiscard]] virtual bool WriteByte(const MString& tag, std::uint8_t value) = 0;
  [[nodiscard]] virtual bool WriteUnsignedShort(const MString& tag, std::uint16_t value) = 0;
  [[nodiscard]] virtual bool WriteShort(const MString& tag, std::int16_t value) = 0;
  [[nodiscard]] virtual bool WriteUnsignedInt(const MString& tag, std::uint32_t value) = 0;
  [[nodiscard]] virtual bool WriteInt(const MString& tag, std::int32_t value) = 0;

  // An argument whose value the operation's type might not hold does not compile: a literal for an
  // unsigned operation has the suffix u.
  template <Velta::MayChangeIn<char> Value>
  bool WriteChar(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<double> Value>
  bool WriteDouble(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<float> Value>
  bool WriteFloat(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<bool> Value>
  bool WriteBool(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<std::uint8_t> Value>
  bool WriteByte(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<std::uint16_t> Value>
  bool WriteUnsignedShort(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<std::int16_t> Value>
  bool WriteShort(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<std::uint32_t> Value>
  bool WriteUnsignedInt(const MString& tag, Value value) = delete;
  template <Velta::MayChangeIn<std::int32_t> Value>
  bool WriteInt(const MString& tag, Value value) = delete;

  /// Adds a group and goes into it: what is written next belongs to it, until `EndGroup`.
  [[nodiscard]] virtual bool BeginGroup(const MString& tag) = 0;
  [[nodiscard]] virtual bool EndGroup() = 0;

  /// Stores the root element of an XML document, with all its content, as the content of a group.
  [[nodiscard]] virtual bool WriteEmbeddedDocument(const MString& tag, const MString& xml) = 0;

 protected:
  IOutFilerTagged();

  /// For numbers: the "C" locale.
  const MLocale& GetLocale() const noexcept { return locale_; }

 private:
  MLocale locale_;
};
