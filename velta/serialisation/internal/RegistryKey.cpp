// SPDX-License-Identifier: MIT
#include "velta/serialisation/internal/RegistryKey.h"

#include "velta/serialisation/IFilerTaggedRegistryBase.h"

#include <cstdint>
#include <utility>

namespace Velta::Serialisation {
namespace {

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

RegistryKey Open(HKEY parent, const MString& name, REGSAM access) noexcept {
  HKEY key = nullptr;
  const bool opened = ::RegOpenKeyExW(parent, name.c_str(), 0, access, &key) == ERROR_SUCCESS;
  return RegistryKey(opened ? key : nullptr);
}

RegistryKey Create(HKEY parent, const MString& name, REGSAM access) noexcept {
  HKEY key = nullptr;
  const bool opened = ::RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                        access, nullptr, &key, nullptr) == ERROR_SUCCESS;
  return RegistryKey(opened ? key : nullptr);
}

const wchar_t* BaseName(HKEY hive) noexcept {
  return hive == HKEY_CURRENT_USER ? L"Software" : L"Software\\Wow6432Node";
}

RegistryKey OpenBase(HKEY hive, RegistryUse use) {
  const MString name = BaseName(hive);
  RegistryKey key;
  if (use != RegistryUse::kReadOnly) {
    key = Open(hive, name, kReadWrite);
  }
  return key.IsOpen() ? std::move(key) : Open(hive, name, KEY_READ);
}

/// @param mayFallBack  whether read access will do when the key cannot be opened for writing
RegistryKey OpenNext(const RegistryKey& parent, const MString& name, RegistryUse use,
                     bool mayFallBack) noexcept {
  if (!parent.IsOpen() || !IsWholeName(name)) {
    return RegistryKey();
  }
  if (use == RegistryUse::kReadOnly) {
    return Open(parent.Get(), name, KEY_READ);
  }
  RegistryKey key = Create(parent.Get(), name, kReadWrite);
  return key.IsOpen() || !mayFallBack ? std::move(key) : Create(parent.Get(), name, KEY_READ);
}

void AppendName(MString& path, const MString& name) {
  if (!path.empty() && !name.empty()) {
    path += L'\\';
  }
  path += name;
}

MString PathOf(const MTypedPtrArray<MString, const MString&>& groups) {
  MString path;
  for (std::int32_t i = 0; i < groups.GetSize(); ++i) {
    AppendName(path, groups.GetAt(i));
  }
  return path;
}

}  // namespace

RegistryKey OpenGroupKey(const IFilerTaggedRegistryBase& place, const MString& applicationKeyName,
                         const MTypedPtrArray<MString, const MString&>& groups, RegistryUse use) {
  const bool reading = use != RegistryUse::kWrite;
  RegistryKey key = OpenBase(place.GetRootHive(), use);
  key = OpenNext(key, place.GetCompanyKeyName(), use, true);
  key = OpenNext(key, applicationKeyName, use, reading);
  const MString path = PathOf(groups);
  if (path.empty()) {
    return key;
  }
  return OpenNext(key, path, reading ? RegistryUse::kReadOnly : use, false);
}

RegistryKey OpenForReading(HKEY parent, const MString& name) noexcept {
  return Open(parent, name, KEY_READ);
}

MString NameOfGroupKey(const IFilerTaggedRegistryBase& place, const MString& applicationKeyName,
                       const MTypedPtrArray<MString, const MString&>& groups) {
  const HKEY hive = place.GetRootHive();
  MString name = hive == HKEY_CURRENT_USER    ? L"HKEY_CURRENT_USER"
                 : hive == HKEY_LOCAL_MACHINE ? L"HKEY_LOCAL_MACHINE"
                                              : L"";
  for (const MString& part :
       {MString(BaseName(hive)), place.GetCompanyKeyName(), applicationKeyName, PathOf(groups)}) {
    AppendName(name, part);
  }
  return name;
}

}  // namespace Velta::Serialisation
