// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/Api.h"

#include <cstdint>

// windows.h makes macros of two names in the framework's interface. Their meaning is set aside
// while the classes are declared; the spellings that the macros expand to are forwarded below, so
// that callers compile and link whether they include windows.h before, after or not at all.
#pragma push_macro("GetClassInfo")
#undef GetClassInfo

/// What is known of a class at run time: its name and its base.
///
/// Records are constants of the library, there before its first initialiser runs and as long as it
/// is loaded; compare them by address.
struct MClassInfo {
  const wchar_t* className;
  const MClassInfo* base;  ///< null for the root

  /// Whether this is the record of `other` or of a class derived from it.
  bool IsA(const MClassInfo& other) const noexcept {
    for (const MClassInfo* record = this; record != nullptr; record = record->base) {
      if (record == &other) {
        return true;
      }
    }
    return false;
  }
};

/// Base of every object that has a run-time class record and can be cloned and created by class.
///
/// A class derived from this one in a file that includes windows.h must undefine the macro
/// `GetClassInfo` first: its override would get another name.
class VELTA_API MDynObject {
 public:
  static const MClassInfo ClassInfo;

  MDynObject() noexcept = default;
  MDynObject(const MDynObject&) noexcept = default;
  virtual ~MDynObject();

  /// The record of the object's own class.
  virtual const MClassInfo& GetClassInfo() const noexcept = 0;

  /// A new copy of the object, owned by the caller; null when there is no memory, or when the class
  /// cannot be copied.
  virtual MDynObject* Clone() const noexcept;

  /// A new default object of the same class, owned by the caller; null when there is no memory, or
  /// when the class cannot be created.
  virtual MDynObject* CreateNew() const noexcept;

#if defined(_WIN32)
  const MClassInfo& GetClassInfoA() const noexcept { return GetClassInfo(); }
  const MClassInfo& GetClassInfoW() const noexcept { return GetClassInfo(); }
#endif

 protected:
  MDynObject& operator=(const MDynObject&) noexcept = default;

 private:
  [[maybe_unused]] std::int32_t version_ = 1;
};

#pragma pop_macro("GetClassInfo")
