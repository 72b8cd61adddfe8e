// SPDX-License-Identifier: MIT
#include "velta/platform/internal/DebugDumpFile.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <ostream>
#include <streambuf>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Writes into a file; what is not flushed by the end is lost.
class FileBuffer final : public std::streambuf {
 public:
  FileBuffer() { Empty(); }
  FileBuffer(const FileBuffer&) = delete;
  FileBuffer& operator=(const FileBuffer&) = delete;
  ~FileBuffer() override {
    if (file_ != -1) {
      ::close(file_);
    }
  }

  bool Open(const char* path) noexcept {
    // Without waiting for the reader of a pipe, and emptied only once it is known to be the user's.
    file_ = ::open(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
                   S_IRUSR | S_IWUSR);
    struct stat status = {};
    return file_ != -1 && ::fstat(file_, &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_uid == ::geteuid() && status.st_nlink == 1 && ::ftruncate(file_, 0) == 0;
  }

 protected:
  int_type overflow(int_type byte) override {
    if (sync() != 0) {
      return traits_type::eof();
    }
    if (!traits_type::eq_int_type(byte, traits_type::eof())) {
      sputc(traits_type::to_char_type(byte));
    }
    return traits_type::not_eof(byte);
  }

  int sync() override {
    for (const char* rest = pbase(); rest != pptr();) {
      const ssize_t written = ::write(file_, rest, static_cast<std::size_t>(pptr() - rest));
      if (written < 0 && errno != EINTR) {
        return -1;
      }
      if (written > 0) {
        rest += written;
      }
    }
    Empty();
    return 0;
  }

 private:
  void Empty() noexcept { setp(buffer_.data(), buffer_.data() + buffer_.size()); }

  int file_ = -1;
  std::array<char, 65536> buffer_;
};

class FileStream final : public std::ostream {
 public:
  FileStream() : std::ostream(nullptr) { rdbuf(&buffer_); }

  bool Open(const char* path) noexcept { return buffer_.Open(path); }

 private:
  FileBuffer buffer_;
};

}  // namespace

std::unique_ptr<std::ostream> Velta::Platform::OpenDebugDumpFile(const char* path) {
  auto stream = std::make_unique<FileStream>();
  if (!stream->Open(path)) {
    return nullptr;
  }
  return stream;
}
