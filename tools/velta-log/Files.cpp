// SPDX-License-Identifier: MIT
#include "Files.h"

#include "Console.h"
#include "DumpReader.h"
#include "Progress.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#if defined(_WIN32)
#include <share.h>
#endif

namespace Velta::Logging {
namespace {

constexpr std::size_t kBlock = std::size_t{256} * 1024;

[[noreturn]] void Fail(const std::string& what, const std::string& name, int error) {
  throw FileError(what + " " + name + ": " + std::generic_category().message(error));
}

std::filesystem::path PathOf(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

FileHandle Open(const std::string& name, bool forWriting) {
  if (name == "-") {
    std::FILE* const stream = forWriting ? stdout : stdin;
    MakeBinary(stream);
    return FileHandle(stream, [](std::FILE*) {});
  }
  const std::filesystem::path path = PathOf(name);
#if defined(_WIN32)
  std::FILE* const file = ::_wfsopen(path.c_str(), forWriting ? L"wb" : L"rb", _SH_DENYNO);
#else
  std::FILE* const file = std::fopen(path.c_str(), forWriting ? "wb" : "rb");
#endif
  if (file == nullptr) {
    Fail(forWriting ? "cannot write" : "cannot read", name, errno);
  }
  return FileHandle(file, [](std::FILE* stream) { std::fclose(stream); });
}

std::uint64_t SizeOf(const std::string& name) {
  std::error_code unknown;
  const std::uintmax_t size = name == "-" ? 0 : std::filesystem::file_size(PathOf(name), unknown);
  return unknown ? 0 : size;
}

template <typename Reader>
void ReadAll(const std::string& name, Reader& reader) {
  const FileHandle file = Open(name, false);
  Progress progress(SizeOf(name));
  std::vector<char> block(kBlock);
  while (std::feof(file.get()) == 0) {
    const std::size_t count = std::fread(block.data(), 1, block.size(), file.get());
    if (std::ferror(file.get()) != 0) {
      Fail("cannot read", name, errno);
    }
    reader.Take({block.data(), count});
    progress.Advance(count);
  }
  reader.Finish();
}

}  // namespace

Log ReadDump(const std::string& name, Damage& damage) {
  Log log;
  DumpReader reader(log, damage);
  ReadAll(name, reader);
  return log;
}

ErrorHistory ReadErrors(const std::string& name, Damage& damage) {
  ErrorHistory history;
  ErrorHistoryReader reader(history, damage);
  ReadAll(name, reader);
  return history;
}

bool IsFile(const std::string& name) {
  std::error_code unknown;
  return std::filesystem::is_regular_file(PathOf(name), unknown);
}

Output::Output(const std::string& name) : fileName_(name), file_(Open(name, true)) {
  buffer_.reserve(kBlock);
}

void Output::Write(std::string_view text) {
  if (buffer_.size() + text.size() > kBlock) {
    Flush();
  }
  buffer_ += text;
}

void Output::Close() {
  Flush();
  if (std::fflush(file_.get()) != 0) {
    Fail("cannot write", fileName_, errno);
  }
}

void Output::Flush() {
  if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_.get()) != buffer_.size()) {
    Fail("cannot write", fileName_, errno);
  }
  buffer_.clear();
}

}  // namespace Velta::Logging
