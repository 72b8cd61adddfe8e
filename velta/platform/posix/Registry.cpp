// SPDX-License-Identifier: MIT
#include "velta/platform/posix/ChangeNotifications.h"
#include "velta/platform/posix/RegistryFiles.h"
#include "velta/platform/posix/RegistryKeys.h"
#include "velta/platform/posix/Win32Subset.h"

#include <cstddef>
#include <string_view>
#include <utility>

using namespace Velta::Posix;

namespace {

constexpr std::size_t kMaxValueName = 16383;

bool IsHive(HKEY key) noexcept { return key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE; }

std::wstring_view TextOf(LPCWSTR text) noexcept {
  return text != nullptr ? std::wstring_view(text) : std::wstring_view();
}

/// `created` as for `OpenFolder`.
LSTATUS OpenBelowHive(HKEY hive, std::wstring_view path, bool* created,
                      FileDescriptor& folder) noexcept {
  FileDescriptor top;
  LSTATUS status = OpenHive(hive, top);
  if (status != ERROR_SUCCESS) {
    return status;
  }
  status = OpenFolder(top.Get(), path, created, folder);
  if (status != ERROR_FILE_NOT_FOUND || FillHive(hive, top.Get()) != ERROR_SUCCESS) {
    return status;
  }
  return OpenFolder(top.Get(), path, created, folder);
}

LSTATUS OpenKey(HKEY key, std::wstring_view path, bool* created, REGSAM access,
                HKEY* result) noexcept {
  FileDescriptor folder;
  LSTATUS status = ERROR_SUCCESS;
  if (IsHive(key)) {
    status = OpenBelowHive(key, path, created, folder);
  } else {
    const KeyUse parent(key);
    if (!parent.IsValid()) {
      return ERROR_INVALID_HANDLE;
    }
    // What the handle was opened for does not matter here: the parent's permissions do.
    status = OpenFolder(parent.Folder(), path, created, folder);
  }
  if (status == ERROR_SUCCESS) {
    status = CheckAccess(folder.Get(), access);
  }
  if (status != ERROR_SUCCESS) {
    return status;
  }
  *result = AddKey(std::move(folder), access);
  return *result != nullptr ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
}

/// Calls `action` with the folder of a key that was opened for `access`.
template <class Action>
LSTATUS WithFolder(HKEY key, REGSAM access, Action action) noexcept {
  if (IsHive(key)) {
    FileDescriptor folder;
    const LSTATUS status = OpenHive(key, folder);
    return status == ERROR_SUCCESS ? action(folder.Get()) : status;
  }
  const KeyUse use(key);
  if (!use.IsValid()) {
    return ERROR_INVALID_HANDLE;
  }
  return use.Matches(access) ? action(use.Folder()) : ERROR_ACCESS_DENIED;
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD /*options*/, REGSAM access,
                      HKEY* result) noexcept {
  if (result == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  *result = nullptr;
  return OpenKey(key, TextOf(subKey), nullptr, access, result);
}

LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, wchar_t* /*className*/,
                        DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES /*attributes*/,
                        HKEY* result, DWORD* disposition) noexcept {
  if (result == nullptr || reserved != 0 || options != REG_OPTION_NON_VOLATILE) {
    return ERROR_INVALID_PARAMETER;
  }
  *result = nullptr;
  bool created = false;
  const LSTATUS status = OpenKey(key, TextOf(subKey), &created, access, result);
  if (status == ERROR_SUCCESS && disposition != nullptr) {
    *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  }
  return status;
}

LSTATUS RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size) noexcept {
  const std::wstring_view valueName = TextOf(name);
  if (reserved != 0 || (data == nullptr && size != 0) || valueName.size() > kMaxValueName) {
    return ERROR_INVALID_PARAMETER;
  }
  return WithFolder(key, KEY_SET_VALUE, [&](int folder) noexcept {
    return WriteValue(folder, valueName, type, data, size);
  });
}

LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) noexcept {
  if (reserved != nullptr || (data != nullptr && size == nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  return WithFolder(key, KEY_QUERY_VALUE, [&](int folder) noexcept {
    return ReadValue(folder, TextOf(name), type, data, size);
  });
}

LSTATUS RegNotifyChangeKeyValue(HKEY key, BOOL watchSubtree, DWORD filter, HANDLE event,
                                BOOL asynchronous) noexcept {
  constexpr DWORD kKnown =
      REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_THREAD_AGNOSTIC;
  if (asynchronous == FALSE || event == nullptr || (filter & ~kKnown) != 0) {
    return ERROR_INVALID_PARAMETER;
  }
  const KeyUse use(key);
  if (!use.IsValid()) {
    return ERROR_INVALID_HANDLE;
  }
  return use.Matches(KEY_NOTIFY)
             ? NotifyOfKey(key, use.Folder(), watchSubtree != FALSE, filter, event)
             : ERROR_ACCESS_DENIED;
}

LSTATUS RegCloseKey(HKEY key) noexcept {
  EndNotificationsOfKey(key);
  return IsHive(key) || RemoveKey(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}
