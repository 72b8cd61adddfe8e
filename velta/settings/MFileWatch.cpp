// SPDX-License-Identifier: MIT
#include "velta/settings/MFileWatch.h"

#include "velta/errors/MError.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/StorageCalls.h"
#include "velta/platform/internal/SystemCalls.h"
#include "velta/settings/internal/Links.h"
#include "velta/text/StandardText.h"

#include <atomic>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

using Velta::Platform::FileStamp;
using Velta::Platform::storageCalls;

namespace Velta::Settings {

struct FileWatchState {
  FileWatchState() = default;
  FileWatchState(const FileWatchState&) = delete;
  FileWatchState& operator=(const FileWatchState&) = delete;
  ~FileWatchState() {
    if (notification != nullptr) {
      ::FindCloseChangeNotification(notification);
    }
  }

  fs::path path;    // as given, but absolute
  fs::path target;  // where its links lead
  HANDLE notification = nullptr;
  FileStamp stamp;  // when last asked
};

}  // namespace Velta::Settings

namespace {

const wchar_t ClassName[] = L"MFileWatch";
const Velta::Logging::ClassNameRegistration registration(ClassName);

[[noreturn]] void RaiseError(MFlowPoint& point, const wchar_t* name, const fs::path& path,
                             DWORD error) {
  point.Raise(name, {{L"file", path}, LastError(error)});
}

/// A file that cannot be looked at now is like none, and news with every signal: what is wrong with
/// it shows when it is loaded.
FileStamp StampOf(const fs::path& path) {
  FileStamp stamp;
  if (storageCalls.stampFile.load(std::memory_order_relaxed)(path, &stamp) != ERROR_SUCCESS) {
    stamp = FileStamp();
    stamp.isFresh = true;
  }
  return stamp;
}

}  // namespace

MFileWatch::MFileWatch(const fs::path& path)
    : state_(std::make_unique<Velta::Settings::FileWatchState>()) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  std::error_code ignored;  // leaves no path
  if (Velta::Settings::NamesFile(path)) {
    state_->path = fs::absolute(path, ignored);
  }
  if (state_->path.empty()) {
    point.At(this).Raise(L"BadPath", L"file", path);
  }
  Velta::Settings::ResolvedPath resolved = Velta::Settings::ResolveLinks(state_->path);
  if (resolved.error != ERROR_SUCCESS) {
    RaiseError(point.At(this), L"LinkFailed", state_->path, resolved.error);
  }
  state_->target = std::move(resolved.path);
  state_->notification =
      storageCalls.watchFolder.load(std::memory_order_relaxed)(state_->target.parent_path());
  if (state_->notification == nullptr) {
    const DWORD lastError = ::GetLastError();  // first: nothing may run in between
    RaiseError(point.At(this), L"WatchFailed", state_->path, lastError);
  }
  state_->stamp = StampOf(state_->target);  // a change from here on is noticed
}

MFileWatch::~MFileWatch() {
  static MFlowPoint point(ClassName, L"~MFileWatch");
  point.At(this).LogDestruction();
}

HANDLE MFileWatch::GetHandle() const noexcept { return state_->notification; }

bool MFileWatch::HasChanged() {
  static MFlowPoint point(ClassName, L"HasChanged");
  const MFlowScope scope = point.At(this).OpenScope();
  const auto wait = Velta::Platform::systemCalls.waitForSingle.load(std::memory_order_relaxed);
  const bool isSignalled = wait(state_->notification, 0) == WAIT_OBJECT_0;
  // Before the file is looked at: a change in between signals again.
  if (isSignalled &&
      storageCalls.watchAgain.load(std::memory_order_relaxed)(state_->notification) == FALSE) {
    const DWORD lastError = ::GetLastError();  // first: nothing may run in between
    RaiseError(point.At(this), L"WatchFailed", state_->path, lastError);
  }
  const FileStamp stamp = StampOf(state_->target);
  const bool mayHaveChanged = stamp != state_->stamp || (isSignalled && state_->stamp.isFresh);
  state_->stamp = stamp;
  return mayHaveChanged;
}
