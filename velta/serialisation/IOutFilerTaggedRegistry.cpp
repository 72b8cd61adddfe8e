// SPDX-License-Identifier: MIT
#include "velta/serialisation/IOutFilerTaggedRegistry.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/platform/internal/Win32.h"
#include "velta/serialisation/internal/RegistryKey.h"
#include "velta/text/internal/ScientificText.h"

#include <limits>

using namespace Velta::Serialisation;

namespace {

const wchar_t ClassName[] = L"IOutFilerTaggedRegistry";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

IOutFilerTaggedRegistry::IOutFilerTaggedRegistry(const MString& applicationKeyName)
    : applicationKeyName_(applicationKeyName) {}

IOutFilerTaggedRegistry::~IOutFilerTaggedRegistry() = default;

bool IOutFilerTaggedRegistry::WriteValue(const MString& tag, std::uint32_t type, const void* data,
                                         std::size_t size) const {
  if (!IsWholeName(tag) || size > (std::numeric_limits<std::uint32_t>::max)()) {
    return false;
  }
  const RegistryKey key = OpenGroupKey(*this, applicationKeyName_, groups_, RegistryUse::kWrite);
  return key.IsOpen() &&
         ::RegSetValueExW(key.Get(), tag.c_str(), 0, type, static_cast<const BYTE*>(data),
                          static_cast<DWORD>(size)) == ERROR_SUCCESS;
}

bool IOutFilerTaggedRegistry::WriteNumber(const MString& tag, std::uint32_t value) const {
  return WriteValue(tag, REG_DWORD, &value, sizeof value);
}

bool IOutFilerTaggedRegistry::WriteFloating(const MString& tag, double value,
                                            int digitsAfterPoint) {
  MString text;
  Velta::Text::FormatScientific(GetLocale(), value, digitsAfterPoint, text);
  return WriteString(tag, text);
}

bool IOutFilerTaggedRegistry::WriteChar(const MString& tag, char value) {
  return WriteNumber(tag, static_cast<unsigned char>(value));
}

bool IOutFilerTaggedRegistry::WriteString(const MString& tag, const MString& value) {
  return WriteValue(tag, REG_SZ, value.c_str(), (value.size() + 1) * sizeof(wchar_t));
}

bool IOutFilerTaggedRegistry::WriteDouble(const MString& tag, double value) {
  return WriteFloating(tag, value, 14);
}

bool IOutFilerTaggedRegistry::WriteFloat(const MString& tag, float value) {
  return WriteFloating(tag, value, 6);
}

bool IOutFilerTaggedRegistry::WriteBool(const MString& tag, bool value) {
  return WriteNumber(tag, value ? 1 : 0);
}

bool IOutFilerTaggedRegistry::WriteByte(const MString& tag, std::uint8_t value) {
  return WriteNumber(tag, value);
}

bool IOutFilerTaggedRegistry::WriteUnsignedShort(const MString& tag, std::uint16_t value) {
  return WriteNumber(tag, value);
}

bool IOutFilerTaggedRegistry::WriteShort(const MString& tag, std::int16_t value) {
  return WriteInt(tag, value);
}

bool IOutFilerTaggedRegistry::WriteUnsignedInt(const MString& tag, std::uint32_t value) {
  return WriteNumber(tag, value);
}

bool IOutFilerTaggedRegistry::WriteInt(const MString& tag, std::int32_t value) {
  return WriteNumber(tag, static_cast<std::uint32_t>(value));
}

bool IOutFilerTaggedRegistry::BeginGroup(const MString& tag) {
  groups_.Add(tag);
  return true;
}

bool IOutFilerTaggedRegistry::EndGroup() {
  if (groups_.GetSize() == 0) {
    return false;
  }
  groups_.RemoveLast();
  return true;
}

bool IOutFilerTaggedRegistry::WriteEmbeddedDocument(const MString& /*tag*/,
                                                    const MString& /*xml*/) {
  return false;
}
