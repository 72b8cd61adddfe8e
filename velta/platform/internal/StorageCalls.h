// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/internal/Win32.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace Velta::Platform {

/// An open file as the system knows it: a handle on Windows, a descriptor on Linux.
using FileId = std::intptr_t;
inline constexpr FileId kNoFile = -1;

/// What tells one state of a file from another without reading it.
struct FileStamp {
  bool exists = false;
  /// Whether it was written so lately that the next write may leave the same stamp: the clocks of
  /// file systems advance by up to two seconds. No part of the comparison.
  bool isFresh = false;
  std::uint64_t volume = 0;
  std::uint64_t file = 0;
  std::uint64_t size = 0;
  std::int64_t written = 0;  // in the file system's own unit
  std::int64_t changed = 0;  // the same: also of names, rights and times

  bool operator==(const FileStamp& other) const noexcept {
    return exists == other.exists && volume == other.volume && file == other.file &&
           size == other.size && written == other.written && changed == other.changed;
  }
};

/// Whether `ERROR_ACCESS_DENIED` for a rename may be of short duration: Windows gives it also while
/// another process has the file open.
#if defined(_WIN32)
inline constexpr bool kDenialMayPass = true;
#else
inline constexpr bool kDenialMayPass = false;
#endif

/// What files and what tells of changes need of the system, in one form for both platforms. A test
/// can put a failing call in the place of each, as in `SystemCalls`.
///
/// Results are codes as `GetLastError` gives them, `ERROR_SUCCESS` among them. Paths are absolute
/// and name what they say: links are followed unless said otherwise. Nothing waits for another
/// process, or needs a folder other than the file's.
struct StorageCalls {
  using Open = DWORD (*)(const std::filesystem::path& path, FileId* file);
  using Read = DWORD (*)(FileId file, void* buffer, std::size_t size, std::size_t* length);
  using Check = DWORD (*)(const std::filesystem::path& path);
  using Make = DWORD (*)(const std::filesystem::path& path, const std::filesystem::path* like,
                         FileId* file);
  using Write = DWORD (*)(FileId file, const void* data, std::size_t size);
  using Flush = DWORD (*)(FileId file);
  using Rename = DWORD (*)(FileId file, const std::filesystem::path& from,
                           const std::filesystem::path& to);
  using FlushName = DWORD (*)(FileId file, const std::filesystem::path& folder);
  using Close = void (*)(FileId file);
  using Remove = DWORD (*)(const std::filesystem::path& path);
  using FindNames = DWORD (*)(const std::filesystem::path& folder,
                              const std::filesystem::path::string_type& begin,
                              std::vector<std::filesystem::path::string_type>* names);
  using ReadLink = DWORD (*)(const std::filesystem::path& path, std::filesystem::path* target);
  using Stamp = DWORD (*)(const std::filesystem::path& path, FileStamp* stamp);
  using Pause = void (*)(DWORD milliseconds);
  using WatchFolder = HANDLE (*)(const std::filesystem::path& folder);
  using WatchAgain = BOOL (*)(HANDLE notification);
  using WatchKey = LSTATUS (*)(HKEY key, HANDLE event);

  /// Opens a regular file for reading; others may go on to write, rename and remove it.
  /// `ERROR_BAD_FILE_TYPE` for what is none, which is not waited for.
  std::atomic<Open> openFile;
  /// Reads what comes next, up to `size` bytes; 0 at the end only.
  std::atomic<Read> readFile;
  /// Whether there is a regular file that the user may write: else `ERROR_FILE_NOT_FOUND`,
  /// `ERROR_PATH_NOT_FOUND`, `ERROR_BAD_FILE_TYPE`, `ERROR_ACCESS_DENIED`.
  std::atomic<Check> checkFile;
  /// Makes a new file for writing, with the access rights and attributes of another one unless that
  /// is null; never with more, not even for a moment. `ERROR_FILE_EXISTS` when there is one.
  std::atomic<Make> createFile;
  std::atomic<Write> writeFile;
  /// Returns once the content is on the disk.
  std::atomic<Flush> flushFile;
  /// Gives a file that `createFile` made another name in its folder, in one step. A file that has
  /// that name is replaced; a link that has it, too.
  std::atomic<Rename> renameFile;
  /// Returns once the file's name is on the disk, where that can be asked for. Never throws: the
  /// file has been replaced by then.
  std::atomic<FlushName> flushName;
  std::atomic<Close> closeFile;
  std::atomic<Remove> removeFile;
  /// Removes a file that `createFile` made, unless the process that made it has it open still.
  std::atomic<Remove> removeAbandoned;
  /// The names in a folder that begin so. Not by the standard library, whose iterator ends the
  /// process when memory is out.
  std::atomic<FindNames> findNames;
  /// Where a symbolic link leads to, as it is written there; `ERROR_NOT_A_REPARSE_POINT` for
  /// others.
  std::atomic<ReadLink> readLink;
  /// That there is no file is no error.
  std::atomic<Stamp> stampFile;
  std::atomic<Pause> pause;
  /// A handle that a change of what lies in the folder signals, until `watchAgain`; null, with a
  /// last error, when there is none. `FindCloseChangeNotification` closes it.
  std::atomic<WatchFolder> watchFolder;
  std::atomic<WatchAgain> watchAgain;
  /// Sets the event once, on the next change of the key or below it.
  std::atomic<WatchKey> watchKey;
};

extern StorageCalls storageCalls;

}  // namespace Velta::Platform
