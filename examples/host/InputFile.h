// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

namespace host {

/// A file that is read from start to end in blocks.
class InputFile {
 public:
  /// Errors: InputFile.InputFile:OpenFailed with "errno" and "errorMessage".
  explicit InputFile(const std::filesystem::path& path);
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();

  /// Fills the front of `block` with what comes next in the file.
  ///
  /// @return how many bytes; 0 at the end of the file only
  ///
  /// Errors: InputFile.ReadBlock:ReadFailed with "errno" and "errorMessage".
  [[nodiscard]] std::size_t ReadBlock(std::vector<unsigned char>& block);

 private:
  struct Closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace host
