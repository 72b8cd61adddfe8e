// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"
#include "velta/platform/Types.h"
#include "velta/text/MString.h"

VELTA_EXPORTS_BEGIN

/// Where in the registry an application keeps its settings: what both registry filers share.
///
/// The settings of an application lie below
///
///     HKEY_CURRENT_USER\Software\Velta\<application>\<group>\<group>...
///
/// or, with any other root hive, below
///
///     <hive>\Software\Wow6432Node\Velta\<application>\<group>\<group>...
///
/// Set another place before the first value is read or written, in the writer and the reader alike.
/// A key name may be a path, with "\" between its parts; an empty one stands for the key above it.
class VELTA_API IFilerTaggedRegistryBase {
 public:
  IFilerTaggedRegistryBase(const IFilerTaggedRegistryBase&) = delete;
  IFilerTaggedRegistryBase& operator=(const IFilerTaggedRegistryBase&) = delete;

  /// `HKEY_CURRENT_USER` unless set otherwise.
  HKEY GetRootHive() const noexcept { return rootHive_; }

  /// @param hive  one of the predefined keys or a key that is open while the filer is used; the
  ///              caller closes it
  void SetRootHive(HKEY hive) noexcept { rootHive_ = hive; }

  /// "Velta" unless set otherwise.
  const MString& GetCompanyKeyName() const noexcept { return companyKeyName_; }
  void SetCompanyKeyName(const MString& name) { companyKeyName_ = name; }

 protected:
  IFilerTaggedRegistryBase();
  ~IFilerTaggedRegistryBase();  // never deleted through the base

 private:
  HKEY rootHive_;
  MString companyKeyName_;
};

VELTA_EXPORTS_END
