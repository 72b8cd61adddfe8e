// SPDX-License-Identifier: MIT
#include "velta/platform/internal/StorageCalls.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace Velta::Platform {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kSharedByAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kKeptAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                  FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED |
                                  FILE_ATTRIBUTE_ENCRYPTED;

HANDLE HandleOf(FileId file) noexcept { return reinterpret_cast<HANDLE>(file); }
FileId IdOf(HANDLE handle) noexcept { return reinterpret_cast<FileId>(handle); }

/// For a call that takes a length of 32 bits.
DWORD Portion(std::size_t size) noexcept {
  constexpr std::size_t kMost = std::size_t{1} << 30;
  return static_cast<DWORD>((std::min)(size, kMost));
}

bool IsFolder(const fs::path& path) noexcept {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

DWORD Open(const fs::path& path, FileId* file) {
  // What turns out to be another process's pipe learns nothing of the caller.
  const HANDLE opened = ::CreateFileW(
      path.c_str(), GENERIC_READ, kSharedByAll, nullptr, OPEN_EXISTING,
      FILE_FLAG_SEQUENTIAL_SCAN | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, nullptr);
  if (opened == INVALID_HANDLE_VALUE) {
    const DWORD error = ::GetLastError();  // first: nothing may run in between
    return error == ERROR_ACCESS_DENIED && IsFolder(path) ? DWORD{ERROR_BAD_FILE_TYPE} : error;
  }
  if (::GetFileType(opened) != FILE_TYPE_DISK) {
    ::CloseHandle(opened);
    return ERROR_BAD_FILE_TYPE;
  }
  *file = IdOf(opened);
  return ERROR_SUCCESS;
}

DWORD Read(FileId file, void* buffer, std::size_t size, std::size_t* length) {
  DWORD got = 0;
  if (::ReadFile(HandleOf(file), buffer, Portion(size), &got, nullptr) == FALSE) {
    return ::GetLastError();
  }
  *length = got;
  return ERROR_SUCCESS;
}

DWORD Check(const fs::path& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    return ::GetLastError();
  }
  if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) != 0) {
    return ERROR_BAD_FILE_TYPE;
  }
  return (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

/// Whose access a file has: the list alone, as when it is replaced by hand. Null where the file
/// system has none.
DWORD GetAccess(const fs::path& path, std::unique_ptr<std::byte[]>& descriptor) {
  DWORD size = 0;
  while (::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.get(), size,
                            &size) == FALSE) {
    const DWORD error = ::GetLastError();  // first: nothing may run in between
    if (error != ERROR_INSUFFICIENT_BUFFER) {
      descriptor = nullptr;
      return error == ERROR_NOT_SUPPORTED || error == ERROR_INVALID_FUNCTION ? DWORD{ERROR_SUCCESS}
                                                                             : error;
    }
    descriptor.reset(new (std::nothrow) std::byte[size]);
    if (descriptor == nullptr) {
      return ERROR_NOT_ENOUGH_MEMORY;
    }
  }
  return ERROR_SUCCESS;
}

DWORD Make(const fs::path& path, const fs::path* like, FileId* file) {
  std::unique_ptr<std::byte[]> descriptor;
  DWORD attributes = 0;
  if (like != nullptr) {
    const DWORD error = GetAccess(*like, descriptor);
    if (error != ERROR_SUCCESS) {
      return error;
    }
    attributes = ::GetFileAttributesW(like->c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
      return ::GetLastError();
    }
  }
  SECURITY_ATTRIBUTES security{sizeof security, descriptor.get(), FALSE};
  attributes &= kKeptAttributes;
  // Not shared for removing: so others tell that it is being written still.
  const HANDLE made =
      ::CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, &security, CREATE_NEW,
                    attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL, nullptr);
  if (made == INVALID_HANDLE_VALUE) {
    return ::GetLastError();
  }
  *file = IdOf(made);
  return ERROR_SUCCESS;
}

DWORD Write(FileId file, const void* data, std::size_t size) {
  for (const auto* next = static_cast<const char*>(data); size > 0;) {
    DWORD written = 0;
    if (::WriteFile(HandleOf(file), next, Portion(size), &written, nullptr) == FALSE) {
      return ::GetLastError();
    }
    next += written;
    size -= written;
  }
  return ERROR_SUCCESS;
}

DWORD Flush(FileId file) {
  return ::FlushFileBuffers(HandleOf(file)) != FALSE ? DWORD{ERROR_SUCCESS} : ::GetLastError();
}

// `ReplaceFileW` keeps more of the old file, but moves it aside first: a process that is killed in
// between leaves no file of that name. `MoveFileExW` needs the file closed, and then others take it
// for abandoned. By its handle it is renamed in one step.
DWORD Rename(FileId file, const fs::path& /*from*/, const fs::path& to) {
  constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);  // FileRenameInfoEx
  constexpr DWORD kReplace = 1;         // FILE_RENAME_FLAG_REPLACE_IF_EXISTS
  constexpr DWORD kPosixSemantics = 2;  // also while others have the old file open, shared for it
  const std::size_t nameSize = to.native().size() * sizeof(wchar_t);
  const std::size_t size = sizeof(FILE_RENAME_INFO) + nameSize;  // with room for the terminator
  if (size > (std::numeric_limits<DWORD>::max)()) {
    return ERROR_FILENAME_EXCED_RANGE;
  }
  const std::unique_ptr<std::byte[]> memory(new (std::nothrow) std::byte[size]{});
  if (memory == nullptr) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(memory.get());
  info->FileNameLength = static_cast<DWORD>(nameSize);
  std::memcpy(info->FileName, to.c_str(), nameSize);
  const auto rename = [&](FILE_INFO_BY_HANDLE_CLASS kind, DWORD flags) -> DWORD {
    std::memcpy(memory.get(), &flags, sizeof flags);  // they begin the structure in both forms
    const BOOL renamed =
        ::SetFileInformationByHandle(HandleOf(file), kind, info, static_cast<DWORD>(size));
    return renamed != FALSE ? DWORD{ERROR_SUCCESS} : ::GetLastError();
  };
  const DWORD error = rename(kRenameInfoEx, kReplace | kPosixSemantics);
  // Not known to Windows before 10, and not to every file system.
  const bool isUnknown = error == ERROR_INVALID_PARAMETER || error == ERROR_NOT_SUPPORTED ||
                         error == ERROR_INVALID_FUNCTION || error == ERROR_CALL_NOT_IMPLEMENTED;
  return isUnknown ? rename(FileRenameInfo, kReplace) : error;
}

DWORD Remove(const fs::path& path) {
  return ::DeleteFileW(path.c_str()) != FALSE ? DWORD{ERROR_SUCCESS} : ::GetLastError();
}

struct SearchCloser {
  void operator()(HANDLE search) const noexcept { ::FindClose(search); }
};

DWORD FindNames(const fs::path& folder, const std::wstring& begin,
                std::vector<std::wstring>* names) {
  WIN32_FIND_DATAW found{};
  const HANDLE opened = ::FindFirstFileW((folder / (begin + L"*")).c_str(), &found);
  if (opened == INVALID_HANDLE_VALUE) {
    return ::GetLastError();
  }
  const std::unique_ptr<void, SearchCloser> search(opened);
  do {
    if (std::wstring_view(found.cFileName).starts_with(begin)) {
      names->emplace_back(found.cFileName);
    }
  } while (::FindNextFileW(opened, &found) != FALSE);
  return ERROR_SUCCESS;
}

DWORD ReadLink(const fs::path& path, fs::path* target) {
  WIN32_FIND_DATAW found{};
  const HANDLE search = ::FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    return ::GetLastError();
  }
  ::FindClose(search);
  // Other reparse points are files that something else provides, in place.
  if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 ||
      found.dwReserved0 != IO_REPARSE_TAG_SYMLINK) {
    return ERROR_NOT_A_REPARSE_POINT;
  }
  std::error_code error;
  *target = fs::read_symlink(path, error);
  return error ? ERROR_CANT_RESOLVE_FILENAME : ERROR_SUCCESS;
}

std::int64_t TicksOf(const FILETIME& time) noexcept {
  return std::int64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

DWORD Stamp(const fs::path& path, FileStamp* stamp) {
  constexpr std::int64_t kFreshFor = 21'000'000;  // in units of 100 ns
  *stamp = FileStamp();
  FILETIME now{};
  ::GetSystemTimeAsFileTime(&now);
  const HANDLE file = ::CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kSharedByAll, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = ::GetLastError();  // first: nothing may run in between
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? DWORD{ERROR_SUCCESS}
                                                                          : error;
  }
  BY_HANDLE_FILE_INFORMATION found{};
  FILE_BASIC_INFO times{};
  DWORD error = ERROR_SUCCESS;
  if (::GetFileInformationByHandle(file, &found) == FALSE ||
      ::GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof times) == FALSE) {
    error = ::GetLastError();
  }
  ::CloseHandle(file);
  if (error != ERROR_SUCCESS) {
    return error;
  }
  stamp->exists = true;
  stamp->volume = found.dwVolumeSerialNumber;
  stamp->file = std::uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow;
  stamp->size = std::uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow;
  stamp->written = TicksOf(found.ftLastWriteTime);
  stamp->changed = times.ChangeTime.QuadPart;
  const std::int64_t age = TicksOf(now) - stamp->written;
  stamp->isFresh = age < kFreshFor && age > -kFreshFor;
  return ERROR_SUCCESS;
}

HANDLE WatchFolder(const fs::path& folder) {
  const HANDLE notification = ::FindFirstChangeNotificationW(
      folder.c_str(), FALSE,
      FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE);
  return notification != INVALID_HANDLE_VALUE ? notification : nullptr;
}

}  // namespace

// Functions of our own: the address of an imported one is no constant on Windows.
constinit StorageCalls storageCalls{
    .openFile = &Open,
    .readFile = &Read,
    .checkFile = &Check,
    .createFile = &Make,
    .writeFile = &Write,
    .flushFile = &Flush,
    .renameFile = &Rename,
    // What is written of a file after its renaming is written after that.
    .flushName = +[](FileId file, const fs::path& /*folder*/) { return Flush(file); },
    .closeFile = +[](FileId file) { ::CloseHandle(HandleOf(file)); },
    .removeFile = &Remove,
    // Refused while its maker has it open.
    .removeAbandoned = &Remove,
    .findNames = &FindNames,
    .readLink = &ReadLink,
    .stampFile = &Stamp,
    .pause = +[](DWORD milliseconds) { ::Sleep(milliseconds); },
    .watchFolder = &WatchFolder,
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
