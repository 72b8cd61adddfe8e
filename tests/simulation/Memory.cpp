// SPDX-License-Identifier: MIT
#include "Scheduler.h"
#include "tests/support/StressScale.h"

#if defined(VELTA_TEST_SANITIZED)

std::int64_t Velta::Simulation::WatchMemory(const std::function<void()>& run) {
  run();
  return 0;
}

#else

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>

namespace {

constexpr unsigned char kFreed = 0xDD;  // four or eight of them: no object, no handle, no length

struct alignas(16) Block {
  Block* nextFreed;
  std::size_t size;
  bool isFreed;

  unsigned char* Content() { return reinterpret_cast<unsigned char*>(this + 1); }
};

// Of the one thread that runs: no lock.
bool watches = false;
std::int64_t live = 0;
Block* freed = nullptr;

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(sizeof(Block) + size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++live;
  return (new (memory) Block{nullptr, size, false})->Content();
}

void operator delete(void* content) noexcept {
  if (content == nullptr) {
    return;
  }
  Block* const block = static_cast<Block*>(content) - 1;
  --live;
  if (!watches) {
    std::free(block);
    return;
  }
  Velta::Simulation::Check(!block->isFreed, "memory freed twice");
  *block = {freed, block->size, true};
  freed = block;
  std::memset(content, kFreed, block->size);
}

void operator delete(void* content, std::size_t /*size*/) noexcept { ::operator delete(content); }

std::int64_t Velta::Simulation::WatchMemory(const std::function<void()>& run) {
  live = 0;
  watches = true;
  run();
  watches = false;
  bool isUntouched = true;
  while (freed != nullptr) {
    Block* const block = freed;
    freed = block->nextFreed;
    isUntouched = isUntouched && std::all_of(block->Content(), block->Content() + block->size,
                                             [](unsigned char byte) { return byte == kFreed; });
    std::free(block);
  }
  return isUntouched ? live : -1;
}

#endif
