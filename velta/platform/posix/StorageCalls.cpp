// SPDX-License-Identifier: MIT
#include "velta/platform/internal/StorageCalls.h"

#include "velta/platform/posix/ChangeNotifications.h"
#include "velta/platform/posix/RegistryKeys.h"
#include "velta/platform/posix/SystemError.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

namespace Velta::Platform {
namespace {

namespace fs = std::filesystem;

using Posix::FileDescriptor;

constexpr char kAccessList[] = "system.posix_acl_access";

DWORD FromErrno() noexcept { return static_cast<DWORD>(Posix::ErrorFromErrno(errno)); }

int Number(FileId file) noexcept { return static_cast<int>(file); }

DWORD Open(const fs::path& path, FileId* file) {
  // A device may do something when it is opened, so look first; nothing blocks on what comes into
  // its place in between.
  struct stat found{};
  if (::stat(path.c_str(), &found) != 0) {
    return FromErrno();
  }
  if (!S_ISREG(found.st_mode)) {
    return ERROR_BAD_FILE_TYPE;
  }
  FileDescriptor opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!opened.IsOpen() || ::fstat(opened.Get(), &found) != 0) {
    return FromErrno();
  }
  if (!S_ISREG(found.st_mode)) {
    return ERROR_BAD_FILE_TYPE;
  }
  *file = opened.Release();
  return ERROR_SUCCESS;
}

DWORD Read(FileId file, void* buffer, std::size_t size, std::size_t* length) {
  ssize_t result = 0;
  do {
    result = ::read(Number(file), buffer, size);
  } while (result < 0 && errno == EINTR);
  if (result < 0) {
    return FromErrno();
  }
  *length = static_cast<std::size_t>(result);
  return ERROR_SUCCESS;
}

DWORD Check(const fs::path& path) {
  struct stat found{};
  if (::stat(path.c_str(), &found) != 0) {
    return FromErrno();
  }
  if (!S_ISREG(found.st_mode)) {
    return ERROR_BAD_FILE_TYPE;
  }
  return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ? ERROR_SUCCESS : FromErrno();
}

/// Gives the file the other's access list, or none. @return whether it has what it should
bool CopyAccessList(int file, const char* like) noexcept {
  std::array<char, 4096> list;
  const ssize_t length = ::getxattr(like, kAccessList, list.data(), list.size());
  if (length >= 0) {
    return ::fsetxattr(file, kAccessList, list.data(), static_cast<std::size_t>(length), 0) == 0;
  }
  if (errno != ENODATA && errno != ENOTSUP) {
    return false;
  }
  return ::fremovexattr(file, kAccessList) == 0 || errno == ENODATA || errno == ENOTSUP;
}

/// Owner and group, as far as the user may give files away; rights never wider than the other's.
DWORD CopyAccess(int file, const struct stat& old, const char* like) noexcept {
  struct stat own{};
  if (::fstat(file, &own) != 0) {
    return FromErrno();
  }
  bool isGroupsOwn = own.st_gid == old.st_gid;
  if (own.st_uid != old.st_uid || !isGroupsOwn) {
    isGroupsOwn = ::fchown(file, old.st_uid, old.st_gid) == 0 ||
                  ::fchown(file, static_cast<uid_t>(-1), old.st_gid) == 0 || isGroupsOwn;
  }
  mode_t mode = old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  if (!isGroupsOwn || !CopyAccessList(file, like)) {
    // Another group, or no list: whoever is meant has the rights of all.
    mode = (mode & ~mode_t{S_IRWXG}) | ((mode & S_IRWXO) << 3);
  }
  if (::fchmod(file, mode) == 0) {
    return ERROR_SUCCESS;
  }
  const DWORD error = FromErrno();
  // A file system without rights refuses, and has given the same ones already.
  const bool isAsWanted =
      ::fstat(file, &own) == 0 && (own.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) == mode;
  return isAsWanted ? ERROR_SUCCESS : error;
}

DWORD Make(const fs::path& path, const fs::path* like, FileId* file) {
  struct stat old{};
  if (like != nullptr && ::stat(like->c_str(), &old) != 0) {
    return FromErrno();
  }
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  constexpr mode_t kByMask = kPrivate | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
  FileDescriptor made(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                             like != nullptr ? kPrivate : kByMask));
  if (!made.IsOpen()) {
    return FromErrno();
  }
  // The lock ends with the process, and tells that it writes still. Who takes the file for
  // abandoned before it is locked removes it: then another one is made. Where there are no locks,
  // nobody removes any.
  struct stat own{};
  const bool isLockedByOther = ::flock(made.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (isLockedByOther || (::fstat(made.Get(), &own) == 0 && own.st_nlink == 0)) {
    return ERROR_FILE_EXISTS;
  }
  if (like != nullptr) {
    const DWORD error = CopyAccess(made.Get(), old, like->c_str());
    if (error != ERROR_SUCCESS) {
      ::unlink(path.c_str());
      return error;
    }
  }
  *file = made.Release();
  return ERROR_SUCCESS;
}

DWORD Write(FileId file, const void* data, std::size_t size) {
  for (const char* next = static_cast<const char*>(data); size > 0;) {
    const ssize_t written = ::write(Number(file), next, size);
    if (written < 0 && errno != EINTR) {
      return FromErrno();
    }
    if (written > 0) {
      next += written;
      size -= static_cast<std::size_t>(written);
    }
  }
  return ERROR_SUCCESS;
}

DWORD Flush(FileId file) {
  int result = 0;
  do {
    result = ::fsync(Number(file));
  } while (result != 0 && errno == EINTR);
  return result == 0 ? ERROR_SUCCESS : FromErrno();
}

DWORD Rename(FileId /*file*/, const fs::path& from, const fs::path& to) {
  return std::rename(from.c_str(), to.c_str()) == 0 ? ERROR_SUCCESS : FromErrno();
}

DWORD FlushName(FileId /*file*/, const fs::path& folder) noexcept {
  const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.IsOpen()) {
    return errno == EACCES ? ERROR_SUCCESS : FromErrno();  // to be written, but not to be read
  }
  if (::fsync(opened.Get()) == 0 || errno == EINVAL || errno == ENOTSUP) {
    return ERROR_SUCCESS;  // some file systems flush no folders
  }
  return FromErrno();
}

DWORD Remove(const fs::path& path) {
  return ::unlink(path.c_str()) == 0 ? ERROR_SUCCESS : FromErrno();
}

DWORD RemoveAbandoned(const fs::path& path) {
  const FileDescriptor file(
      ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat found{};
  if (!file.IsOpen() || ::fstat(file.Get(), &found) != 0) {
    return FromErrno();
  }
  if (!S_ISREG(found.st_mode)) {
    return ERROR_BAD_FILE_TYPE;
  }
  if (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? DWORD{ERROR_SHARING_VIOLATION} : FromErrno();
  }
  return Remove(path);
}

DWORD FindNames(const fs::path& folder, const std::string& begin, std::vector<std::string>* names) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), &::closedir);
  if (entries == nullptr) {
    return FromErrno();
  }
  while (const dirent* const entry = ::readdir(entries.get())) {
    if (std::string_view(entry->d_name).starts_with(begin)) {
      names->emplace_back(entry->d_name);
    }
  }
  return ERROR_SUCCESS;
}

DWORD ReadLink(const fs::path& path, fs::path* target) {
  std::array<char, PATH_MAX> text;
  const ssize_t length = ::readlink(path.c_str(), text.data(), text.size());
  if (length < 0) {
    return errno == EINVAL ? DWORD{ERROR_NOT_A_REPARSE_POINT} : FromErrno();
  }
  if (static_cast<std::size_t>(length) == text.size()) {
    return ERROR_FILENAME_EXCED_RANGE;
  }
  *target = std::string(text.data(), static_cast<std::size_t>(length));
  return ERROR_SUCCESS;
}

std::int64_t Nanoseconds(const timespec& time) noexcept {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

DWORD Stamp(const fs::path& path, FileStamp* stamp) {
  constexpr std::int64_t kFreshFor = 2'100'000'000;
  *stamp = FileStamp();
  struct stat found{};
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  if (::stat(path.c_str(), &found) != 0) {
    return errno == ENOENT || errno == ENOTDIR ? DWORD{ERROR_SUCCESS} : FromErrno();
  }
  stamp->exists = true;
  stamp->volume = found.st_dev;
  stamp->file = found.st_ino;
  stamp->size = static_cast<std::uint64_t>(found.st_size);
  stamp->written = Nanoseconds(found.st_mtim);
  stamp->changed = Nanoseconds(found.st_ctim);
  const std::int64_t age = Nanoseconds(now) - stamp->written;
  stamp->isFresh = age < kFreshFor && age > -kFreshFor;
  return ERROR_SUCCESS;
}

}  // namespace

constinit StorageCalls storageCalls{
    .openFile = &Open,
    .readFile = &Read,
    .checkFile = &Check,
    .createFile = &Make,
    .writeFile = &Write,
    .flushFile = &Flush,
    .renameFile = &Rename,
    .flushName = &FlushName,
    .closeFile = +[](FileId file) { ::close(Number(file)); },
    .removeFile = &Remove,
    .removeAbandoned = &RemoveAbandoned,
    .findNames = &FindNames,
    .readLink = &ReadLink,
    .stampFile = &Stamp,
    .pause = +[](DWORD milliseconds) { ::Sleep(milliseconds); },
    .watchFolder =
        +[](const fs::path& folder) { return Posix::OpenFolderNotification(folder.c_str()); },
    .watchAgain = +[](HANDLE notification) { return ::FindNextChangeNotification(notification); },
    .watchKey =
        +[](HKEY key, HANDLE event) {
          return ::RegNotifyChangeKeyValue(
              key, TRUE,
              REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_THREAD_AGNOSTIC,
              event, TRUE);
        },
};

}  // namespace Velta::Platform
