// SPDX-License-Identifier: MIT
#include "Memory.h"

#include "tests/support/StressScale.h"

#if defined(VELTA_TEST_SANITIZED)

namespace Velta::Simulation::Memory {

void BeginRun() noexcept {}
std::int64_t EndRun() noexcept { return 0; }

}  // namespace Velta::Simulation::Memory

#else

#include "Scheduler.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
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
bool counts = false;
std::int64_t live = 0;
Block* freed = nullptr;

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(sizeof(Block) + size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  live += counts ? 1 : 0;
  return (new (memory) Block{nullptr, size, false})->Content();
}

void operator delete(void* content) noexcept {
  if (content == nullptr) {
    return;
  }
  Block* const block = static_cast<Block*>(content) - 1;
  if (!counts) {
    std::free(block);
    return;
  }
  if (block->isFreed) {
    if (Velta::Simulation::Scheduler* const scheduler = Velta::Simulation::Scheduler::Current()) {
      scheduler->Fail("memory freed twice");
    }
    std::abort();
  }
  --live;
  block->isFreed = true;
  block->nextFreed = freed;
  freed = block;
  std::memset(content, kFreed, block->size);
}

void operator delete(void* content, std::size_t /*size*/) noexcept { ::operator delete(content); }

namespace Velta::Simulation::Memory {

void BeginRun() noexcept {
  live = 0;
  counts = true;
}

std::int64_t EndRun() noexcept {
  counts = false;
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

}  // namespace Velta::Simulation::Memory

#endif
