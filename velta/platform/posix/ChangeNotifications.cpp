// SPDX-License-Identifier: MIT
#include "velta/platform/posix/ChangeNotifications.h"

#include "velta/platform/ThreadSafety.h"
#include "velta/platform/internal/ThreadName.h"
#include "velta/platform/posix/FutexLock.h"
#include "velta/platform/posix/RegistryKeys.h"
#include "velta/platform/posix/SystemError.h"
#include "velta/platform/posix/WakeList.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Velta::Posix;

namespace {

// An inotify instance watches a folder once, so one mask for all, and each notification sorts out.
constexpr std::uint32_t kMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_MODIFY |
                                IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                IN_ONLYDIR;
constexpr std::uint32_t kGone = IN_IGNORED | IN_UNMOUNT;

/// What of a folder concerns a notification.
enum class Concern : std::uint8_t { kAll, kKey, kKeysParent };

struct WatchedFolder {
  int watch;  // inotify's number for it, which is never used again
  Concern concern;
};

struct Notification {
  HKEY key = nullptr;  // null: of a folder
  HANDLE event = nullptr;
  DWORD filter = 0;
  bool isArmed = false;
  bool isPending = false;
  bool isGone = false;
  std::vector<WatchedFolder> folders;
};

using Notifications = std::vector<std::unique_ptr<Notification>>;

/// Held for a whole call, the start and the end of the thread included; the thread never takes it.
constinit FutexLock callLock;
/// For what the thread looks at; taken after the other one.
constinit FutexLock listLock;

// Not destroyed: a static object's destructor may still close a notification.
Notifications* notifications VELTA_GUARDED_BY(listLock) = nullptr;
std::atomic<int> notificationsOfKeys{0};

HANDLE thread VELTA_GUARDED_BY(callLock) = nullptr;
// Both are set before the thread starts and closed after it has ended.
int inotify = -1;
int stopRequest = -1;

bool IsValue(const char* name) noexcept {
  constexpr std::string_view kSuffix = ".value";
  return std::string_view(name).ends_with(kSuffix);
}

bool IsChange(const Notification& notification, Concern concern, const inotify_event& event) {
  constexpr std::uint32_t kLeft = IN_DELETE | IN_MOVED_FROM;
  constexpr std::uint32_t kCame = IN_CREATE | IN_MOVED_TO;
  const bool ofFolder = (event.mask & IN_ISDIR) != 0;
  const char* const name = event.len != 0 ? event.name : "";
  switch (concern) {
    case Concern::kAll:
      return true;
    case Concern::kKeysParent:  // whose change may be that the key itself was removed
      return ofFolder && (event.mask & kLeft) != 0;
    case Concern::kKey:
      if (ofFolder || (event.mask & kGone) != 0) {
        return (notification.filter & REG_NOTIFY_CHANGE_NAME) != 0 &&
               (event.mask & (kLeft | kCame | kGone)) != 0;
      }
      // Drafts of values come and go beside them.
      return (notification.filter & REG_NOTIFY_CHANGE_LAST_SET) != 0 && IsValue(name) &&
             (event.mask & (kLeft | IN_MOVED_TO | IN_CLOSE_WRITE)) != 0;
  }
  return false;
}

void Tell(Notification& notification, WakeList& wakes) noexcept {
  if (notification.isArmed) {
    notification.isArmed = false;
    SetEventAndNote(notification.event, &wakes);
  } else {
    notification.isPending = true;
  }
}

void Dispatch(const inotify_event& event, WakeList& wakes) VELTA_REQUIRES(listLock) {
  for (const std::unique_ptr<Notification>& notification : *notifications) {
    const bool isLost = (event.mask & IN_Q_OVERFLOW) != 0;
    const bool isChange =
        isLost || std::any_of(notification->folders.begin(), notification->folders.end(),
                              [&](const WatchedFolder& folder) {
                                return folder.watch == event.wd &&
                                       IsChange(*notification, folder.concern, event);
                              });
    if (isChange) {
      notification->isGone |= notification->key == nullptr && (event.mask & kGone) != 0;
      Tell(*notification, wakes);
    }
  }
}

void ReadEvents() {
  alignas(inotify_event) char buffer[16384];
  const ssize_t length = ::read(inotify, buffer, sizeof buffer);
  WakeList wakes;
  {
    const FutexGuard lock(listLock);
    for (ssize_t at = 0; at < length;) {
      const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
      Dispatch(*event, wakes);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  wakes.WakeAll();
}

unsigned RunThread(void* /*argument*/) {
  Velta::Platform::AnnounceThreadName(::GetCurrentThreadId(), "velta-watch");
  for (;;) {
    pollfd sources[] = {{stopRequest, POLLIN, 0}, {inotify, POLLIN, 0}};
    if (::poll(sources, 2, -1) < 0) {
      continue;  // by a signal
    }
    if (sources[0].revents != 0) {
      return 0;
    }
    ReadEvents();
  }
}

void CloseDescriptors() noexcept {
  for (int* const descriptor : {&inotify, &stopRequest}) {
    if (*descriptor >= 0) {
      ::close(*descriptor);
      *descriptor = -1;
    }
  }
}

LSTATUS StartThread() VELTA_REQUIRES(callLock) {
  if (thread != nullptr) {
    return ERROR_SUCCESS;
  }
  inotify = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  stopRequest = inotify >= 0 ? ::eventfd(0, EFD_CLOEXEC) : -1;
  if (stopRequest < 0) {
    const LSTATUS status = ErrorFromErrno(errno);
    CloseDescriptors();
    return status;
  }
  // The host's signals are for its own threads.
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  thread = reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, 0, &RunThread, nullptr, 0, nullptr));
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (thread == nullptr) {
    CloseDescriptors();
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  return ERROR_SUCCESS;
}

void StopThreadUnlessNeeded() VELTA_REQUIRES(callLock) {
  {
    const FutexGuard lock(listLock);
    if (thread == nullptr || (notifications != nullptr && !notifications->empty())) {
      return;
    }
  }
  ::eventfd_write(stopRequest, 1);
  ::WaitForSingleObject(thread, INFINITE);
  ::CloseHandle(thread);
  thread = nullptr;
  CloseDescriptors();
}

LSTATUS InotifyError() noexcept {
  return errno == ENOSPC ? ERROR_NO_SYSTEM_RESOURCES : ErrorFromErrno(errno);
}

/// Lets inotify forget the folders that no notification has any more.
void DropWatches(const std::vector<WatchedFolder>& dropped) VELTA_REQUIRES(listLock) {
  for (const WatchedFolder& folder : dropped) {
    const bool isNeeded =
        std::any_of(notifications->begin(), notifications->end(), [&](const auto& notification) {
          return std::any_of(
              notification->folders.begin(), notification->folders.end(),
              [&](const WatchedFolder& other) { return other.watch == folder.watch; });
        });
    if (!isNeeded) {
      ::inotify_rm_watch(inotify, folder.watch);  // refused when the folder has gone
    }
  }
}

/// Adds the open folder; `concern` is what of it matters.
LSTATUS AddFolder(int folder, const char* below, Concern concern,
                  std::vector<WatchedFolder>& folders) {
  char path[64];  // no name of a folder: it may have got another by now
  std::snprintf(path, sizeof path, "/proc/self/fd/%d%s", folder, below);
  const int watch = ::inotify_add_watch(inotify, path, kMask);
  if (watch < 0) {
    return InotifyError();
  }
  folders.push_back({watch, concern});
  return ERROR_SUCCESS;
}

/// The folders in a folder, as paths that begin with `prefix`. Without those that nobody may read.
void AddSubfolders(int folder, const std::string& prefix, std::vector<std::string>& paths) {
  const int copy = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(copy < 0 ? nullptr : ::fdopendir(copy),
                                                    &::closedir);
  if (entries == nullptr) {
    if (copy >= 0) {
      ::close(copy);
    }
    return;
  }
  while (const dirent* const entry = ::readdir(entries.get())) {
    struct stat found{};
    const bool isFolder = entry->d_name[0] != '.' &&  // no key begins so
                          ::fstatat(folder, entry->d_name, &found, AT_SYMLINK_NOFOLLOW) == 0 &&
                          S_ISDIR(found.st_mode);
    if (isFolder) {
      paths.push_back(prefix + entry->d_name);
    }
  }
}

/// Adds the key's folder, those below it, and the one in which it lies. A folder is watched before
/// it is looked into: what is created meanwhile is a change.
LSTATUS AddKeyFolders(int folder, bool withSubtree, std::vector<WatchedFolder>& folders) {
  struct stat own{};
  if (::fstat(folder, &own) != 0 || own.st_nlink == 0) {
    return ERROR_KEY_DELETED;
  }
  LSTATUS status = AddFolder(folder, "/..", Concern::kKeysParent, folders);
  if (status == ERROR_SUCCESS) {
    status = AddFolder(folder, "", Concern::kKey, folders);
  }
  std::vector<std::string> paths;
  if (status == ERROR_SUCCESS && withSubtree) {
    AddSubfolders(folder, "", paths);
  }
  while (status == ERROR_SUCCESS && !paths.empty()) {
    const std::string path = std::move(paths.back());
    paths.pop_back();
    const FileDescriptor child(
        ::openat(folder, path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (child.IsOpen()) {
      status = AddFolder(child.Get(), "", Concern::kKey, folders);
      AddSubfolders(child.Get(), path + '/', paths);
    } else if (errno != ENOENT && errno != EACCES) {
      status = ErrorFromErrno(errno);
    }
  }
  return status;
}

Notification* FindNotification(HANDLE event) VELTA_REQUIRES(listLock) {
  if (notifications == nullptr) {
    return nullptr;
  }
  const auto found =
      std::find_if(notifications->begin(), notifications->end(), [event](const auto& notification) {
        return notification->key == nullptr && notification->event == event;
      });
  return found != notifications->end() ? found->get() : nullptr;
}

Notification* FindNotification(HKEY key) VELTA_REQUIRES(listLock) {
  if (notifications == nullptr) {
    return nullptr;
  }
  const auto found =
      std::find_if(notifications->begin(), notifications->end(),
                   [key](const auto& notification) { return notification->key == key; });
  return found != notifications->end() ? found->get() : nullptr;
}

/// Takes the notification out of the list.
std::unique_ptr<Notification> Extract(Notification* notification) VELTA_REQUIRES(listLock) {
  const auto place =
      std::find_if(notifications->begin(), notifications->end(),
                   [notification](const auto& other) { return other.get() == notification; });
  std::unique_ptr<Notification> extracted = std::move(*place);
  notifications->erase(place);
  DropWatches(extracted->folders);
  return extracted;
}

void Append(std::unique_ptr<Notification> notification) VELTA_REQUIRES(listLock) {
  if (notifications == nullptr) {
    notifications = new Notifications;
  }
  notifications->push_back(std::move(notification));
}

/// Runs `call`, which may run out of memory, and ends the thread if nobody needs it.
template <class Call>
LSTATUS RunCall(Call call) VELTA_REQUIRES(callLock) {
  LSTATUS status = ERROR_NOT_ENOUGH_MEMORY;
  try {
    status = call();
  } catch (const std::bad_alloc&) {
  }
  StopThreadUnlessNeeded();
  return status;
}

LSTATUS AddFolderNotification(const char* path, HANDLE event) VELTA_REQUIRES(callLock) {
  auto notification = std::make_unique<Notification>();
  notification->event = event;
  notification->folders.reserve(1);
  notification->isArmed = true;
  const LSTATUS status = StartThread();
  if (status != ERROR_SUCCESS) {
    return status;
  }
  // Under the lock: the thread is to find the notification with its folder's first event.
  const FutexGuard lock(listLock);
  Append(std::move(notification));
  Notification* const added = notifications->back().get();
  const int watch = ::inotify_add_watch(inotify, path, kMask);
  if (watch < 0) {
    const LSTATUS error = InotifyError();
    Extract(added);
    return error;
  }
  added->folders.push_back({watch, Concern::kAll});
  return ERROR_SUCCESS;
}

/// The folders are looked for again each time: keys have come and gone.
LSTATUS ArmKeyNotification(HKEY key, int folder, bool withSubtree, DWORD filter, HANDLE event,
                           WakeList& wakes) VELTA_REQUIRES(callLock) {
  const LSTATUS started = StartThread();
  if (started != ERROR_SUCCESS) {
    return started;
  }
  const FutexGuard lock(listLock);
  Notification* notification = FindNotification(key);
  if (notification == nullptr) {
    Append(std::make_unique<Notification>());
    notification = notifications->back().get();
    notification->key = key;
    notificationsOfKeys.fetch_add(1, std::memory_order_relaxed);
  }
  const std::vector<WatchedFolder> before = std::exchange(notification->folders, {});
  LSTATUS status = ERROR_NOT_ENOUGH_MEMORY;
  try {
    status = AddKeyFolders(folder, withSubtree, notification->folders);
  } catch (const std::bad_alloc&) {
  }
  DropWatches(before);
  if (status != ERROR_SUCCESS) {
    Extract(notification);
    notificationsOfKeys.fetch_sub(1, std::memory_order_relaxed);
    return status;
  }
  notification->event = event;
  notification->filter = filter;
  notification->isArmed = true;
  if (std::exchange(notification->isPending, false)) {
    Tell(*notification, wakes);
  }
  return ERROR_SUCCESS;
}

}  // namespace

HANDLE Velta::Posix::OpenFolderNotification(const char* path) noexcept {
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) {
    return nullptr;
  }
  const FutexGuard lock(callLock);
  const LSTATUS status =
      RunCall([&]() VELTA_REQUIRES(callLock) { return AddFolderNotification(path, event); });
  if (status != ERROR_SUCCESS) {
    ::CloseHandle(event);
    ::SetLastError(static_cast<DWORD>(status));
    return nullptr;
  }
  return event;
}

BOOL FindNextChangeNotification(HANDLE handle) noexcept {
  const FutexGuard lock(listLock);
  Notification* const notification = FindNotification(handle);
  if (notification == nullptr || notification->isGone) {
    ::SetLastError(
        static_cast<DWORD>(notification == nullptr ? ERROR_INVALID_HANDLE : ERROR_PATH_NOT_FOUND));
    return FALSE;
  }
  if (!std::exchange(notification->isPending, false)) {
    notification->isArmed = true;
    ::ResetEvent(handle);
  }
  return TRUE;
}

BOOL FindCloseChangeNotification(HANDLE handle) noexcept {
  const FutexGuard lock(callLock);
  {
    const FutexGuard list(listLock);
    Notification* const notification = FindNotification(handle);
    if (notification == nullptr) {
      ::SetLastError(ERROR_INVALID_HANDLE);
      return FALSE;
    }
    Extract(notification);
  }
  ::CloseHandle(handle);
  StopThreadUnlessNeeded();
  return TRUE;
}

LSTATUS Velta::Posix::NotifyOfKey(HKEY key, int folder, bool withSubtree, DWORD filter,
                                  HANDLE event) noexcept {
  WakeList wakes;
  const FutexGuard lock(callLock);
  const LSTATUS status = RunCall([&]() VELTA_REQUIRES(callLock) {
    return ArmKeyNotification(key, folder, withSubtree, filter, event, wakes);
  });
  wakes.WakeAll();
  return status;
}

void Velta::Posix::EndNotificationsOfKey(HKEY key) noexcept {
  if (notificationsOfKeys.load(std::memory_order_relaxed) == 0) {
    return;  // as nearly always
  }
  WakeList wakes;
  {
    const FutexGuard lock(callLock);
    {
      const FutexGuard list(listLock);
      Notification* const notification = FindNotification(key);
      if (notification == nullptr) {
        return;
      }
      if (notification->isArmed) {
        SetEventAndNote(notification->event, &wakes);
      }
      Extract(notification);
      notificationsOfKeys.fetch_sub(1, std::memory_order_relaxed);
    }
    StopThreadUnlessNeeded();
  }
  wakes.WakeAll();
}
