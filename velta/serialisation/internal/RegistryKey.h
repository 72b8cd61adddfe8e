// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"
#include "velta/serialisation/MTypedPtrArray.h"
#include "velta/text/MString.h"

#include <cstdint>
#include <utility>

class IFilerTaggedRegistryBase;

namespace Velta::Serialisation {

/// An open key of the registry, closed with its scope; null when it could not be opened.
class RegistryKey {
 public:
  RegistryKey() noexcept = default;
  explicit RegistryKey(HKEY key) noexcept : key_(key) {}
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  RegistryKey(RegistryKey&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
  RegistryKey& operator=(RegistryKey&& other) noexcept {
    std::swap(key_, other.key_);
    return *this;
  }
  ~RegistryKey() {
    if (key_ != nullptr) {
      ::RegCloseKey(key_);
    }
  }

  [[nodiscard]] bool IsOpen() const noexcept { return key_ != nullptr; }
  [[nodiscard]] HKEY Get() const noexcept { return key_; }

 private:
  HKEY key_ = nullptr;
};

/// What a filer opens keys for.
enum class RegistryUse : std::uint8_t {
  kWrite,
  kRead,      // creates the keys of company and application, and takes write access where it can
  kReadOnly,  // leaves the registry as it is
};

/// Opens the key of the innermost group.
RegistryKey OpenGroupKey(const IFilerTaggedRegistryBase& place, const MString& applicationKeyName,
                         const MTypedPtrArray<MString, const MString&>& groups, RegistryUse use);

/// Opens a key below another one.
RegistryKey OpenForReading(HKEY parent, const MString& name) noexcept;

/// The name of that key, for people.
MString NameOfGroupKey(const IFilerTaggedRegistryBase& place, const MString& applicationKeyName,
                       const MTypedPtrArray<MString, const MString&>& groups);

/// Whether the registry, which takes zero-terminated names, would see all of this one.
inline bool IsWholeName(const MString& name) noexcept { return name.find(L'\0') == MString::npos; }

}  // namespace Velta::Serialisation
