// SPDX-License-Identifier: MIT
#include "ReplaceContent.h"

#include "FrameworkErrors.h"
#include "velta/logging/ClassNameRegistration.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#include <share.h>
#else
#include <unistd.h>
#endif

namespace host {
namespace {

namespace fs = std::filesystem;

const wchar_t ClassName[] = L"ReplaceContent";
const Velta::Logging::ClassNameRegistration registration(ClassName);

constexpr int kMostLinks = 40;  // as many as Linux follows

/// The path to which links lead from `path`, whether or not there is a file.
fs::path ResolveLinks(MFlowPoint& point, const fs::path& path) {
  fs::path target = path;
  std::error_code error;  // shows when the new file is created
  for (int links = 0; fs::is_symlink(fs::symlink_status(target, error)); ++links) {
    if (links == kMostLinks) {
      RaiseErrno(point, L"CreateFailed", ELOOP);
    }
    target = target.parent_path() / fs::read_symlink(target, error);
  }
  return target;
}

/// A name beside `path` that no other process uses. A file that a killed process has left there is
/// overwritten.
fs::path TemporaryNameFor(const fs::path& path) {
#if defined(_WIN32)
  const int process = ::_getpid();
#else
  const int process = ::getpid();
#endif
  fs::path name = path;
  name += "." + std::to_string(process) + ".new";
  return name;
}

std::FILE* Create(const fs::path& path) noexcept {
#if defined(_WIN32)
  return ::_wfsopen(path.c_str(), L"wb", _SH_DENYNO);
#else
  return std::fopen(path.c_str(), "wbe");
#endif
}

bool FlushToDisk(std::FILE* file) noexcept {
  if (std::fflush(file) != 0) {
    return false;
  }
#if defined(_WIN32)
  return ::_commit(::_fileno(file)) == 0;
#else
  return ::fsync(::fileno(file)) == 0;
#endif
}

/// @return 0 or an `errno` value
int WriteAll(std::FILE* file, std::string_view content) noexcept {
  const bool written =
      std::fwrite(content.data(), 1, content.size(), file) == content.size() && FlushToDisk(file);
  const int error = written ? 0 : errno;
  return std::fclose(file) == 0 || error != 0 ? error : errno;
}

/// Removes the file at the end of its scope, unless it has been renamed by then.
class TemporaryFile {
 public:
  explicit TemporaryFile(const fs::path& path) : path_(path) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }

 private:
  const fs::path& path_;
};

}  // namespace

void ReplaceContent(const fs::path& path, std::string_view content) {
  static MFlowPoint point(ClassName, ClassName);
  const MFlowScope scope = point.At(nullptr).OpenScope();
  const fs::path target = ResolveLinks(point.At(nullptr), path);
  const fs::path created = TemporaryNameFor(target);
  std::FILE* const file = Create(created);
  const int createError = errno;  // first: nothing may run in between
  if (file == nullptr) {
    RaiseErrno(point.At(nullptr), L"CreateFailed", createError);
  }
  const TemporaryFile temporary(created);
  std::error_code error;
  if (const fs::file_status old = fs::status(target, error); fs::exists(old)) {
    fs::permissions(created, old.permissions(), error);  // before there is anything to read
  }
  if (const int writeError = WriteAll(file, content); writeError != 0) {
    RaiseErrno(point.At(nullptr), L"WriteFailed", writeError);
  }
  fs::rename(created, target, error);
  if (error) {
    RaiseErrorCode(point.At(nullptr), L"ReplaceFailed", error);
  }
}

}  // namespace host
