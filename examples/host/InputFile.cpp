// SPDX-License-Identifier: MIT
#include "InputFile.h"

#include "FrameworkErrors.h"
#include "velta/logging/ClassNameRegistration.h"

#include <cerrno>
#include <cstdio>

#if defined(_WIN32)
#include <share.h>
#endif

namespace host {
namespace {

const wchar_t ClassName[] = L"InputFile";
const Velta::Logging::ClassNameRegistration registration(ClassName);

std::FILE* Open(const std::filesystem::path& path) noexcept {
#if defined(_WIN32)
  return ::_wfsopen(path.c_str(), L"rb", _SH_DENYNO);
#else
  return std::fopen(path.c_str(), "rbe");
#endif
}

}  // namespace

InputFile::InputFile(const std::filesystem::path& path) : file_(Open(path)) {
  const int error = errno;  // first: nothing may run in between
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  if (file_ == nullptr) {
    RaiseErrno(point.At(this), L"OpenFailed", error);
  }
  std::setvbuf(file_.get(), nullptr, _IONBF, 0);  // the blocks are large enough
}

InputFile::~InputFile() {
  static MFlowPoint point(ClassName, L"~InputFile");
  point.At(this).LogDestruction();
}

std::size_t InputFile::ReadBlock(std::vector<unsigned char>& block) {
  const std::size_t length = std::fread(block.data(), 1, block.size(), file_.get());
  const int error = errno;
  if (std::ferror(file_.get()) != 0) {
    static MFlowPoint point(ClassName, L"ReadBlock");
    RaiseErrno(point.At(this), L"ReadFailed", error);
  }
  return length;
}

}  // namespace host
