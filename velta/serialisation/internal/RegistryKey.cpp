// SPDX-License-Identifier: MIT
#include "velta/serialisation/internal/RegistryKey.h"

#include "velta/serialisation/IFilerTaggedRegistryBase.h"

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

RegistryKey OpenBase(HKEY hive, RegistryUse use) {
  const MString name = hive == HKEY_CURRENT_USER ? L"Software" : L"Software\\Wow6432Node";
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

MString PathOf(const MTypedPtrArray<MString, const MString&>& groups) {
  MString path;
  for (std::int32_t i = 0; i < groups.GetSize(); ++i) {
    const MString& name = groups.GetAt(i);
    if (!path.empty() && !name.empty()) {
      path += L'\\';
    }
    path += name;
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

}  // namespace Velta::Serialisation
