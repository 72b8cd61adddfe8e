// SPDX-License-Identifier: MIT
#include "velta/serialisation/IInFilerTaggedRegistry.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/platform/internal/Win32.h"
#include "velta/serialisation/internal/RegistryKey.h"

#include <cstring>
#include <optional>
#include <utility>

using namespace Velta::Serialisation;

namespace {

const wchar_t ClassName[] = L"IInFilerTaggedRegistry";
const Velta::Logging::ClassNameRegistration registration(ClassName);

RegistryUse UseOf(bool readOnly) noexcept {
  return readOnly ? RegistryUse::kReadOnly : RegistryUse::kRead;
}

/// The data of a string, its terminator included; nothing when there is no such string.
std::optional<MString> QueryString(HKEY key, const MString& name) {
  MString data;
  for (;;) {
    DWORD type = 0;
    DWORD size = 0;
    if (::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        type != REG_SZ) {
      return std::nullopt;
    }
    data.resize((size + sizeof(wchar_t) - 1) / sizeof(wchar_t));
    size = static_cast<DWORD>(data.size() * sizeof(wchar_t));
    const LSTATUS status = ::RegQueryValueExW(key, name.c_str(), nullptr, &type,
                                              reinterpret_cast<BYTE*>(data.data()), &size);
    if (status == ERROR_SUCCESS && type == REG_SZ) {
      data.resize(size / sizeof(wchar_t));
      return data;
    }
    // Another value was stored after its size was asked for: ask again.
    if (status != ERROR_SUCCESS && status != ERROR_MORE_DATA) {
      return std::nullopt;
    }
  }
}

}  // namespace

IInFilerTaggedRegistry::IInFilerTaggedRegistry(const MString& applicationKeyName, bool readOnly)
    : IInFilerTagged(GroupNames::kUnique),
      applicationKeyName_(applicationKeyName),
      readOnly_(readOnly) {}

IInFilerTaggedRegistry::~IInFilerTaggedRegistry() = default;

bool IInFilerTaggedRegistry::ReadNumber(const MString& tag, std::uint32_t* value,
                                        std::uint32_t* type) const {
  if (!IsWholeName(tag)) {
    return false;
  }
  const RegistryKey key = OpenGroupKey(*this, applicationKeyName_, groups_, UseOf(readOnly_));
  // Data of fewer bytes leaves the others as they are: zero.
  BYTE data[sizeof *value] = {};
  DWORD size = sizeof data;
  DWORD storedType = 0;
  if (!key.IsOpen() || ::RegQueryValueExW(key.Get(), tag.c_str(), nullptr, &storedType, data,
                                          &size) != ERROR_SUCCESS) {
    return false;
  }
  std::memcpy(value, data, sizeof data);
  *type = storedType;
  return true;
}

template <class T>
bool IInFilerTaggedRegistry::ReadInteger(const MString& tag, T* value, T defaultValue) const {
  *value = defaultValue;
  std::uint32_t number = 0;
  std::uint32_t type = 0;
  const bool read = ReadNumber(tag, &number, &type);
  if (read) {
    *value = static_cast<T>(number);
  }
  return read;
}

template <class T>
bool IInFilerTaggedRegistry::ReadFloating(const MString& tag, const wchar_t* format, T* value,
                                          T defaultValue) {
  *value = defaultValue;
  MString text;
  T number = 0;
  if (!ReadString(tag, &text, MString()) || text.empty() ||
      GetLocale().Scan(text.c_str(), format, &number) != 1) {
    return false;
  }
  *value = number;
  return true;
}

bool IInFilerTaggedRegistry::ReadString(const MString& tag, MString* value,
                                        const MString& defaultValue) {
  *value = defaultValue;
  if (!IsWholeName(tag)) {
    return false;
  }
  const RegistryKey key = OpenGroupKey(*this, applicationKeyName_, groups_, UseOf(readOnly_));
  std::optional<MString> data = key.IsOpen() ? QueryString(key.Get(), tag) : std::nullopt;
  if (!data) {
    return false;
  }
  if (!data->empty() && data->back() == L'\0') {
    data->pop_back();
  }
  *value = *std::move(data);
  return true;
}

bool IInFilerTaggedRegistry::ReadChar(const MString& tag, char* value, char defaultValue) {
  *value = defaultValue;
  std::uint32_t number = 0;
  std::uint32_t type = 0;
  const bool read = ReadNumber(tag, &number, &type) && type == REG_DWORD;
  if (read) {
    *value = static_cast<char>(static_cast<unsigned char>(number));
  }
  return read;
}

bool IInFilerTaggedRegistry::ReadDouble(const MString& tag, double* value, double defaultValue) {
  return ReadFloating(tag, L"%lf", value, defaultValue);
}

bool IInFilerTaggedRegistry::ReadFloat(const MString& tag, float* value, float defaultValue) {
  return ReadFloating(tag, L"%f", value, defaultValue);
}

bool IInFilerTaggedRegistry::ReadBool(const MString& tag, bool* value, bool defaultValue) {
  return ReadInteger(tag, value, defaultValue);  // any number but zero is true
}

bool IInFilerTaggedRegistry::ReadByte(const MString& tag, std::uint8_t* value,
                                      std::uint8_t defaultValue) {
  return ReadInteger(tag, value, defaultValue);
}

bool IInFilerTaggedRegistry::ReadUnsignedShort(const MString& tag, std::uint16_t* value,
                                               std::uint16_t defaultValue) {
  return ReadInteger(tag, value, defaultValue);
}

bool IInFilerTaggedRegistry::ReadShort(const MString& tag, std::int16_t* value,
                                       std::int16_t defaultValue) {
  return ReadInteger(tag, value, defaultValue);
}

bool IInFilerTaggedRegistry::ReadUnsignedInt(const MString& tag, std::uint32_t* value,
                                             std::uint32_t defaultValue) {
  return ReadInteger(tag, value, defaultValue);
}

bool IInFilerTaggedRegistry::ReadInt(const MString& tag, std::int32_t* value,
                                     std::int32_t defaultValue) {
  return ReadInteger(tag, value, defaultValue);
}

bool IInFilerTaggedRegistry::BeginGroup(const MString& tag) {
  groups_.Add(tag);
  return true;
}

bool IInFilerTaggedRegistry::EndGroup() {
  if (groups_.GetSize() == 0) {
    return false;
  }
  groups_.RemoveLast();
  return true;
}

bool IInFilerTaggedRegistry::ReadEmbeddedDocument(const MString& /*tag*/, MString* xml) {
  xml->clear();
  return false;
}
