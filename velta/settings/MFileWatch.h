// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/NonCopyable.h"
#include "velta/platform/Api.h"
#include "velta/platform/Types.h"

#include <filesystem>
#include <memory>

namespace Velta::Settings {
struct FileWatchState;
}

VELTA_EXPORTS_BEGIN

/// Tells that a file has changed: by a handle to wait for, and by an operation to ask.
///
/// The file need not exist; it may be written in place, replaced, removed and made again. Add the
/// handle to an engine thread:
///
/// ```cpp
/// thread.AddEvent(watch.GetHandle(), callback);  // which runs:
///
/// if (watch.HasChanged()) LoadAgain();
/// ```
///
/// Whatever changes in the file's folder signals the handle, the draft of a save among it; the
/// question tells which of that was the file. What is loaded after a true answer is not older than
/// the change; a change after the answer signals again. The answer is true too often rather than
/// too seldom: within two seconds of a write every change in the folder may be another write.
///
/// Symbolic links at the end of the path are followed once, when the watch is made: not noticed is
/// when a link is made to lead elsewhere. The folder must be there; when it is renamed the watch
/// stays with it, and finds the file missing.
///
/// Threads: one at a time; the handle may be waited for on any. Errors are `MException`s with the
/// class "MFileWatch", the parameter "file", and what the system says: "winErrorCode",
/// "winErrorMessage".
class VELTA_API MFileWatch : private Velta::Libraries::NonCopyable {
 public:
  /// Begins to watch; what the file is now counts as known.
  ///
  /// @param path  made absolute by the current folder of now
  ///
  /// Errors: "BadPath" when it names no file (`MSettingsFile`), without the system's; "LinkFailed";
  /// "WatchFailed", also when the folder is missing.
  explicit MFileWatch(const std::filesystem::path& path);

  /// Closes the handle: no thread may wait for it any more.
  ~MFileWatch();

  /// Signalled from a change in the folder on until `HasChanged` is called; null never. Owned.
  [[nodiscard]] HANDLE GetHandle() const noexcept;

  /// Whether the file may have another content than at the last call, and waits for the next
  /// change. May be called at any time; without a signal it compares all the same.
  ///
  /// True also for a file that cannot be looked at: what is wrong with it shows when it is loaded.
  ///
  /// Errors: "WatchFailed" when the folder is gone. The handle then stays signalled: stop waiting
  /// for it.
  [[nodiscard]] bool HasChanged();

 private:
  std::unique_ptr<Velta::Settings::FileWatchState> state_;
};

VELTA_EXPORTS_END
