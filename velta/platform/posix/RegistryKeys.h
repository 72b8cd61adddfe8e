// SPDX-License-Identifier: MIT
#pragma once

#include "velta/platform/posix/Win32Subset.h"

#include <cstdint>

namespace Velta::Posix {

/// A file descriptor that is closed with its scope.
class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int opened) noexcept : number_(opened) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  FileDescriptor(FileDescriptor&& other) noexcept : number_(other.Release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  ~FileDescriptor();

  [[nodiscard]] bool IsOpen() const noexcept { return number_ >= 0; }
  [[nodiscard]] int Get() const noexcept { return number_; }
  int Release() noexcept {
    const int released = number_;
    number_ = -1;
    return released;
  }

 private:
  int number_ = -1;
};

/// Makes a handle for an open key; null when memory is out.
HKEY AddKey(FileDescriptor folder, REGSAM access) noexcept;

/// Closes the handle, its folder as soon as nobody uses it. @return false for no open key
bool RemoveKey(HKEY key) noexcept;

struct KeySlot;

/// Keeps the folder of an open key open for one scope, whoever closes the key meanwhile.
class KeyUse {
 public:
  explicit KeyUse(HKEY key) noexcept;
  KeyUse(const KeyUse&) = delete;
  KeyUse& operator=(const KeyUse&) = delete;
  ~KeyUse();

  /// Whether the handle belongs to an open key. Any value may be asked for.
  [[nodiscard]] bool IsValid() const noexcept { return slot_ != nullptr; }
  [[nodiscard]] int Folder() const noexcept;
  [[nodiscard]] bool Matches(REGSAM access) const noexcept;

 private:
  KeySlot* slot_;
};

}  // namespace Velta::Posix
