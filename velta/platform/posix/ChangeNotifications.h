// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Win32Subset.h"

namespace Velta::Posix {

// What tells of changes of folders and keys: one inotify instance, and one thread that reads it and
// sets events. The first notification starts the thread, closing the last one ends it.
//
// A notification has two flags; a change is one that concerns it.
//
// | armed | pending | becomes          | by                                              |
// |-------|---------|------------------|-------------------------------------------------|
// | yes   | no      | neither          | a change, which sets the event                  |
// | no    | no      | pending          | a change                                        |
// | no    | no      | armed            | who asks for the next change; resets the event  |
// | no    | yes     | neither          | who asks for the next change; the event is set  |

/// A handle that a change in the folder signals; null, with a last error, when there is none.
HANDLE OpenFolderNotification(const char* path) noexcept;

/// Asks for the next change of a key, whose folder is open as `folder`.
///
/// @param event  not owned; may be closed at any time
LSTATUS NotifyOfKey(HKEY key, int folder, bool withSubtree, DWORD filter, HANDLE event) noexcept;

/// Ends what was asked for, and sets its event, as the key is being closed.
void EndNotificationsOfKey(HKEY key) noexcept;

}  // namespace Velta::Posix
