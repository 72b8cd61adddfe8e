// SPDX-License-Identifier: MIT
#include "velta/settings/MRegistryWatch.h"

#include "velta/errors/MError.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/StorageCalls.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/threads/internal/Events.h"

#include <atomic>
#include <utility>

namespace {

const wchar_t ClassName[] = L"MRegistryWatch";
const Velta::Logging::ClassNameRegistration registration(ClassName);

[[noreturn]] void RaiseError(MFlowPoint& point, const wchar_t* name, const MString& key,
                             LSTATUS status) {
  point.Raise(name, {{L"key", key}, LastError(static_cast<DWORD>(status))});
}

LSTATUS WatchNext(HKEY key, HANDLE event) noexcept {
  return Velta::Platform::storageCalls.watchKey.load(std::memory_order_relaxed)(key, event);
}

}  // namespace

MRegistryWatch::MRegistryWatch(HKEY root, const MString& keyPath) : root_(root), keyPath_(keyPath) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  if (keyPath_.find(L'\0') != MString::npos) {
    point.At(this).Raise(L"BadPath", L"key", keyPath_);
  }
  event_ = Velta::Threads::MakeEvent(point.At(this), Velta::Threads::EventReset::kManual);
  try {
    OpenKey(point.At(this));
    const LSTATUS status = WatchNext(key_, event_);
    if (status != ERROR_SUCCESS) {
      RaiseError(point.At(this), L"WatchFailed", keyPath_, status);
    }
  } catch (...) {
    CloseAll();
    throw;
  }
}

MRegistryWatch::~MRegistryWatch() {
  static MFlowPoint point(ClassName, L"~MRegistryWatch");
  point.At(this).LogDestruction();
  CloseAll();
}

void MRegistryWatch::CloseAll() noexcept {
  if (key_ != nullptr) {
    ::RegCloseKey(std::exchange(key_, nullptr));  // the event must be there still: this sets it
  }
  ::CloseHandle(event_);
}

void MRegistryWatch::OpenKey(MFlowPoint& point) {
  HKEY key = nullptr;
  LSTATUS status = ::RegOpenKeyExW(root_, keyPath_.c_str(), 0, KEY_NOTIFY, &key);
  if (status == ERROR_FILE_NOT_FOUND) {
    status = ::RegCreateKeyExW(root_, keyPath_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                               KEY_NOTIFY, nullptr, &key, nullptr);
  }
  if (status != ERROR_SUCCESS) {
    RaiseError(point, L"OpenFailed", keyPath_, status);
  }
  if (key_ != nullptr) {
    ::RegCloseKey(key_);
  }
  key_ = key;
}

bool MRegistryWatch::HasChanged() {
  static MFlowPoint point(ClassName, L"HasChanged");
  const MFlowScope scope = point.At(this).OpenScope();
  const auto wait = Velta::Platform::systemCalls.waitForSingle.load(std::memory_order_relaxed);
  if (wait(event_, 0) != WAIT_OBJECT_0) {
    return false;
  }
  ::ResetEvent(event_);
  try {
    LSTATUS status = WatchNext(key_, event_);
    if (status == ERROR_KEY_DELETED) {
      OpenKey(point.At(this));
      ::ResetEvent(event_);  // closing the old key has set it
      status = WatchNext(key_, event_);
    }
    if (status != ERROR_SUCCESS) {
      RaiseError(point.At(this), L"WatchFailed", keyPath_, status);
    }
  } catch (...) {
    ::SetEvent(event_);  // nothing would set it any more
    throw;
  }
  return true;
}
