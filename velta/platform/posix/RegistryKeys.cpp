// SPDX-License-Identifier: MIT
#include "velta/platform/posix/RegistryKeys.h"

#include "velta/platform/posix/FutexLock.h"

#include <cstdint>
#include <new>

#include <unistd.h>

namespace Velta::Posix {

/// What a handle refers to. Slots are never given back, so that an old handle can be looked at.
struct KeySlot {
  int folder = -1;
  REGSAM access = 0;
  std::uint32_t generation = 0;
  std::uint32_t users = 0;  // the open handle and the calls that use it
  bool open = false;
  std::uint32_t index = 0;
  KeySlot* nextFree = nullptr;
};

namespace {

// A handle is generation, index and the low bits 3, which no event or thread handle has. Keys that
// are there without being opened have all their upper bits set: no generation gets that far.
constexpr int kIndexShift = 2;
constexpr int kIndexBits = 20;
constexpr int kGenerationShift = kIndexShift + kIndexBits;
constexpr std::uintptr_t kTag = 3;
constexpr std::uint32_t kSlotsPerChunk = 64;
constexpr std::uint32_t kChunks = (1U << kIndexBits) / kSlotsPerChunk;

// All under the lock.
constinit FutexLock keysLock;
constinit KeySlot* chunks[kChunks] = {};
constinit KeySlot* firstFree = nullptr;
constinit std::uint32_t usedSlots = 0;

KeySlot* TakeSlot() noexcept {
  if (firstFree != nullptr) {
    KeySlot* const slot = firstFree;
    firstFree = slot->nextFree;
    return slot;
  }
  const std::uint32_t chunk = usedSlots / kSlotsPerChunk;
  if (chunk == kChunks) {
    return nullptr;
  }
  if (chunks[chunk] == nullptr) {
    chunks[chunk] = new (std::nothrow) KeySlot[kSlotsPerChunk];
    if (chunks[chunk] == nullptr) {
      return nullptr;
    }
  }
  KeySlot* const slot = &chunks[chunk][usedSlots % kSlotsPerChunk];
  slot->index = usedSlots++;
  return slot;
}

KeySlot* FindOpen(HKEY key) noexcept {
  const auto value = reinterpret_cast<std::uintptr_t>(key);
  const auto index = static_cast<std::uint32_t>(value >> kIndexShift) & ((1U << kIndexBits) - 1);
  if ((value & kTag) != kTag || index >= usedSlots) {
    return nullptr;
  }
  KeySlot* const slot = &chunks[index / kSlotsPerChunk][index % kSlotsPerChunk];
  return slot->open && slot->generation == value >> kGenerationShift ? slot : nullptr;
}

/// @return the folder to close, if this was the last use
int DropUse(KeySlot* slot) noexcept {
  if (--slot->users != 0) {
    return -1;
  }
  slot->nextFree = firstFree;
  firstFree = slot;
  return slot->folder;
}

}  // namespace

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  if (this != &other) {
    const FileDescriptor previous(number_);
    number_ = other.Release();
  }
  return *this;
}

FileDescriptor::~FileDescriptor() {
  if (number_ >= 0) {
    ::close(number_);
  }
}

HKEY AddKey(FileDescriptor folder, REGSAM access) noexcept {
  const FutexGuard lock(keysLock);
  KeySlot* const slot = TakeSlot();
  if (slot == nullptr) {
    return nullptr;
  }
  slot->folder = folder.Release();
  slot->access = access;
  slot->users = 1;
  slot->open = true;
  if (++slot->generation == 0) {
    slot->generation = 1;
  }
  return reinterpret_cast<HKEY>(std::uintptr_t{slot->generation} << kGenerationShift |
                                std::uintptr_t{slot->index} << kIndexShift | kTag);
}

bool RemoveKey(HKEY key) noexcept {
  FileDescriptor unused;
  const FutexGuard lock(keysLock);
  KeySlot* const slot = FindOpen(key);
  if (slot == nullptr) {
    return false;
  }
  slot->open = false;
  unused = FileDescriptor(DropUse(slot));
  return true;
}

KeyUse::KeyUse(HKEY key) noexcept {
  const FutexGuard lock(keysLock);
  slot_ = FindOpen(key);
  if (slot_ != nullptr) {
    ++slot_->users;
  }
}

KeyUse::~KeyUse() {
  if (slot_ == nullptr) {
    return;
  }
  FileDescriptor unused;
  const FutexGuard lock(keysLock);
  unused = FileDescriptor(DropUse(slot_));
}

int KeyUse::Folder() const noexcept { return slot_->folder; }

bool KeyUse::Matches(REGSAM access) const noexcept { return (slot_->access & access) == access; }

}  // namespace Velta::Posix
