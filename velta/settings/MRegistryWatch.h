// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/NonCopyable.h"
#include "velta/platform/Api.h"
#include "velta/platform/Types.h"
#include "velta/text/MString.h"

class MFlowPoint;

VELTA_EXPORTS_BEGIN

/// Tells that something has changed below a key of the registry: by a handle to wait for, and by an
/// operation to ask.
///
/// Values that are set and removed count, and keys that come and go, at any depth. Use it like an
/// `MFileWatch`, for what a filer has written:
///
/// ```cpp
/// MRegistryWatch watch(HKEY_CURRENT_USER, L"Software\\Velta\\Viewer");
/// thread.AddEvent(watch.GetHandle(), callback);  // which runs:
///
/// if (watch.HasChanged()) settings.Read(IInFilerTaggedRegistry(L"Viewer", true));
/// ```
///
/// A key that is missing is created, empty, as a filer that is not read-only does; a key that is
/// removed while it is watched is created again by the next `HasChanged`. So the user must have the
/// right to do so, or to be notified of a key that is there.
///
/// One who writes several values makes several changes: what is read after the first may be half of
/// them. A change that is read already may be told once more.
///
/// Threads: one at a time; the handle may be waited for on any. It need not be the thread that made
/// the watch, which may end. Errors are `MException`s with the class "MRegistryWatch" and the
/// parameters "key", "winErrorCode" and "winErrorMessage".
class VELTA_API MRegistryWatch : private Velta::Libraries::NonCopyable {
 public:
  /// Opens or creates the key and begins to watch.
  ///
  /// @param root     a predefined key, or an open one that is used during operations; not owned
  /// @param keyPath  from there, with "\" between its parts; empty for `root` itself
  ///
  /// Errors: "BadPath" for a path with a zero in it, with "key" alone; "OpenFailed"; "WatchFailed";
  /// "CreateEvent" with "winErrorCode" when the system refuses an event.
  MRegistryWatch(HKEY root, const MString& keyPath);

  /// Closes the handle: no thread may wait for it any more.
  ~MRegistryWatch();

  /// Signalled from a change on until `HasChanged` is called; never null. Owned.
  [[nodiscard]] HANDLE GetHandle() const noexcept { return event_; }

  /// Whether something has changed since the last call; if so, waits for the next change. May be
  /// called at any time.
  ///
  /// Errors: "OpenFailed" when the key was removed and cannot be created; "WatchFailed". The handle
  /// then stays signalled: stop waiting for it, or ask again later.
  [[nodiscard]] bool HasChanged();

 private:
  void OpenKey(MFlowPoint& point);
  void CloseAll() noexcept;

  HKEY root_;
  MString keyPath_;
  HKEY key_ = nullptr;
  HANDLE event_ = nullptr;  // reset by hand
};

VELTA_EXPORTS_END
