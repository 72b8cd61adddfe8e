// SPDX-License-Identifier: MIT
#include "velta/platform/posix/RegistryFiles.h"

#include "velta/platform/posix/RegistryNames.h"
#include "velta/platform/posix/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace Velta::Posix {

namespace {

// Settings may hold what other users should not see.
constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr std::size_t kMaxKeyName = 255;

/// How a value's file begins. Its data follows, then its name in the spelling it was given.
struct ValueHeader {
  char magic[4];
  std::uint32_t type;
  std::uint32_t size;  // of the data
  std::uint32_t nameLength;
};

constexpr char kMagic[4] = {'V', 'R', 'E', 'G'};

LSTATUS FromErrno() noexcept { return ErrorFromErrno(errno); }

struct FileName {
  char text[NAME_MAX + 1];
};

/// The names of the files that belong to a value.
class ValueFiles {
 public:
  explicit ValueFiles(std::wstring_view valueName) noexcept
      : name_(valueName, EncodedName::Case::kFolded) {}

  /// The value itself.
  [[nodiscard]] FileName Value() const noexcept { return Compose("value"); }

  /// Where a new value is written before it takes the other's place. One is enough unless several
  /// write the same value at the same time.
  [[nodiscard]] FileName Draft(int number) const noexcept {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "new%d", number);
    return Compose(suffix);
  }

 private:
  [[nodiscard]] FileName Compose(const char* suffix) const noexcept {
    FileName file;
    const char* const stem = name_.Length() == 0 ? "@" : name_.Text();  // a key's default value
    std::snprintf(file.text, sizeof file.text, "%s.%s", stem, suffix);
    return file;
  }

  const EncodedName name_;
};

/// Writes all of it, from the start of the file.
bool WriteAll(int file, iovec* parts, int count) noexcept {
  while (count > 0) {
    const ssize_t result = ::writev(file, parts, count);
    if (result < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    auto written = static_cast<std::size_t>(result);
    for (; count > 0 && written >= parts->iov_len; ++parts, --count) {
      written -= parts->iov_len;
    }
    if (count > 0) {
      parts->iov_base = static_cast<char*>(parts->iov_base) + written;
      parts->iov_len -= written;
    }
  }
  return true;
}

iovec Part(const void* data, std::size_t size) noexcept { return {const_cast<void*>(data), size}; }

bool ReadAll(int file, void* data, std::size_t size, off_t offset) noexcept {
  auto* next = static_cast<char*>(data);
  while (size > 0) {
    const ssize_t result = ::pread(file, next, size, offset);
    if (result < 0 && errno == EINTR) {
      continue;
    }
    if (result <= 0) {
      return false;
    }
    next += result;
    offset += result;
    size -= static_cast<std::size_t>(result);
  }
  return true;
}

/// Opens a draft for this writer alone, emptied.
///
/// The lock ends with its process: the draft of a writer that was killed is taken over. A file that
/// became the value between being opened and being locked must not be touched.
/// @return not open, with the reason in `errno`; `EWOULDBLOCK` when somebody else has this draft
FileDescriptor OpenDraft(int folder, const char* name) noexcept {
  FileDescriptor file(::openat(folder, name, O_WRONLY | O_CREAT | O_CLOEXEC, kFileMode));
  if (!file.IsOpen() || ::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
    return FileDescriptor();
  }
  struct stat opened{};
  struct stat named{};
  const bool same = ::fstat(file.Get(), &opened) == 0 &&
                    ::fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
                    opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
  if (!same) {
    errno = EWOULDBLOCK;
    return FileDescriptor();
  }
  if (opened.st_size != 0 && ::ftruncate(file.Get(), 0) != 0) {
    return FileDescriptor();
  }
  return file;
}

/// Creates the folder of a key. @return false, with `errno`, also when it is there already
bool MakeFolder(int parent, const char* folderName, std::wstring_view name) noexcept {
  if (::mkdirat(parent, folderName, kFolderMode) != 0) {
    return false;
  }
  // For whoever looks into the store; the registry itself does without.
  const EncodedName spelling(name, EncodedName::Case::kKept);
  if (std::strcmp(spelling.Text(), folderName) == 0) {
    return true;
  }
  const FileDescriptor folder(::openat(parent, folderName, kFolderFlags));
  const FileDescriptor file(
      ::openat(folder.Get(), ".name", O_WRONLY | O_CREAT | O_CLOEXEC, kFileMode));
  iovec part = Part(spelling.Text(), spelling.Length());
  static_cast<void>(file.IsOpen() && WriteAll(file.Get(), &part, 1));
  return true;
}

LSTATUS OpenChild(int parent, std::wstring_view name, bool* created,
                  FileDescriptor& folder) noexcept {
  if (name.size() > kMaxKeyName) {
    return ERROR_INVALID_PARAMETER;
  }
  const EncodedName encoded(name, EncodedName::Case::kFolded);
  FileDescriptor child(::openat(parent, encoded.Text(), kFolderFlags));
  if (created != nullptr) {
    *created = false;
    if (!child.IsOpen() && errno == ENOENT) {
      *created = MakeFolder(parent, encoded.Text(), name);
      if (!*created && errno != EEXIST) {
        return FromErrno();
      }
      child = FileDescriptor(::openat(parent, encoded.Text(), kFolderFlags));
    }
  }
  if (!child.IsOpen()) {
    return FromErrno();
  }
  folder = std::move(child);
  return ERROR_SUCCESS;
}

/// The place of the whole registry and in it of one hive; false when none is known or it is too
/// long.
bool FindHive(HKEY hive, char (&path)[PATH_MAX]) noexcept {
  const char* const name = hive == HKEY_CURRENT_USER ? "HKEY_CURRENT_USER" : "HKEY_LOCAL_MACHINE";
  const auto compose = [&](const char* variable, const char* below) {
    const char* const place = std::getenv(variable);
    if (place == nullptr || *place == '\0') {
      return false;
    }
    const int length = std::snprintf(path, sizeof path, "%s%s/%s", place, below, name);
    return length > 0 && static_cast<std::size_t>(length) < sizeof path;
  };
  return compose("VELTA_REGISTRY", "") || compose("XDG_CONFIG_HOME", "/velta/registry") ||
         compose("HOME", "/.config/velta/registry");
}

/// Creates a folder and those that lead to it.
bool MakeFolders(char* path) noexcept {
  for (char* slash = std::strchr(path + 1, '/'); slash != nullptr;
       slash = std::strchr(slash + 1, '/')) {
    *slash = '\0';
    const bool made = ::mkdir(path, kFolderMode) == 0 || errno == EEXIST;
    *slash = '/';
    if (!made) {
      return false;
    }
  }
  return ::mkdir(path, kFolderMode) == 0 || errno == EEXIST;
}

}  // namespace

LSTATUS OpenHive(HKEY hive, FileDescriptor& folder) noexcept {
  char path[PATH_MAX];
  if (!FindHive(hive, path)) {
    return ERROR_FILE_NOT_FOUND;
  }
  FileDescriptor opened(::open(path, kFolderFlags));
  if (!opened.IsOpen() && errno == ENOENT) {
    if (!MakeFolders(path)) {
      return FromErrno();
    }
    opened = FileDescriptor(::open(path, kFolderFlags));
  }
  if (!opened.IsOpen()) {
    return FromErrno();
  }
  folder = std::move(opened);
  return ERROR_SUCCESS;
}

LSTATUS FillHive(HKEY hive, int folder) noexcept {
  FileDescriptor last;
  bool created = false;
  return OpenFolder(folder, hive == HKEY_CURRENT_USER ? L"Software" : L"Software\\Wow6432Node",
                    &created, last);
}

LSTATUS OpenFolder(int start, std::wstring_view path, bool* created,
                   FileDescriptor& folder) noexcept {
  if (!path.empty() && path.front() == L'\\') {
    return ERROR_BAD_PATHNAME;
  }
  FileDescriptor current;
  while (!path.empty()) {
    const std::size_t end = (std::min)(path.find(L'\\'), path.size());
    const int parent = current.IsOpen() ? current.Get() : start;
    const LSTATUS status = OpenChild(parent, path.substr(0, end), created, current);
    if (status != ERROR_SUCCESS) {
      return status;
    }
    path.remove_prefix(end);
    path.remove_prefix((std::min)(path.find_first_not_of(L'\\'), path.size()));
  }
  if (!current.IsOpen()) {
    if (created != nullptr) {
      *created = false;
    }
    current = FileDescriptor(::openat(start, ".", kFolderFlags));
    if (!current.IsOpen()) {
      return FromErrno();
    }
  }
  folder = std::move(current);
  return ERROR_SUCCESS;
}

LSTATUS CheckAccess(int folder, REGSAM access) noexcept {
  // Reading was settled when the folder was opened.
  const bool writing = (access & (KEY_SET_VALUE | KEY_CREATE_SUB_KEY)) != 0;
  return ::faccessat(folder, ".", writing ? W_OK | X_OK : X_OK, AT_EACCESS) == 0 ? ERROR_SUCCESS
                                                                                 : FromErrno();
}

LSTATUS WriteValue(int folder, std::wstring_view name, DWORD type, const BYTE* data,
                   DWORD size) noexcept {
  constexpr int kMostWriters = 1000;  // of one value at one time
  const ValueFiles files(name);
  FileDescriptor file;
  FileName draft{};
  for (int number = 0;; ++number) {
    if (number == kMostWriters) {
      return ERROR_BUSY;
    }
    draft = files.Draft(number);
    file = OpenDraft(folder, draft.text);
    if (file.IsOpen()) {
      break;
    }
    if (errno != EWOULDBLOCK) {
      return FromErrno();
    }
  }
  const EncodedName spelling(name, EncodedName::Case::kKept);
  ValueHeader header{{}, type, size, static_cast<std::uint32_t>(spelling.Length())};
  std::copy(std::begin(kMagic), std::end(kMagic), header.magic);
  iovec parts[] = {Part(&header, sizeof header), Part(data, size),
                   Part(spelling.Text(), spelling.Length())};
  if (WriteAll(file.Get(), parts, 3) &&
      ::renameat(folder, draft.text, folder, files.Value().text) == 0) {
    return ERROR_SUCCESS;
  }
  const LSTATUS status = FromErrno();
  ::unlinkat(folder, draft.text, 0);
  return status;
}

LSTATUS ReadValue(int folder, std::wstring_view name, DWORD* type, BYTE* data,
                  DWORD* size) noexcept {
  const FileDescriptor file(::openat(folder, ValueFiles(name).Value().text, O_RDONLY | O_CLOEXEC));
  if (!file.IsOpen()) {
    return FromErrno();
  }
  ValueHeader header{};
  if (!ReadAll(file.Get(), &header, sizeof header, 0) ||
      !std::equal(std::begin(kMagic), std::end(kMagic), header.magic)) {
    return ERROR_REGISTRY_CORRUPT;
  }
  if (type != nullptr) {
    *type = header.type;
  }
  LSTATUS status = ERROR_SUCCESS;
  if (data != nullptr) {
    if (*size < header.size) {
      status = ERROR_MORE_DATA;
    } else if (!ReadAll(file.Get(), data, header.size, sizeof header)) {
      return ERROR_REGISTRY_CORRUPT;
    }
  }
  if (size != nullptr) {
    *size = header.size;
  }
  return status;
}

}  // namespace Velta::Posix
