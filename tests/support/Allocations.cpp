// SPDX-License-Identifier: MIT
#include "tests/support/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local int requests = 0;
thread_local int granted = Allocations::kUnlimited;
thread_local int refusals = Allocations::kUnlimited;
std::atomic<int> live{0};

void* Allocate(std::size_t size) noexcept {
  ++requests;
  if (granted == 0 && refusals != 0) {
    if (refusals > 0) {
      --refusals;
    }
    return nullptr;
  }
  if (granted > 0) {
    --granted;
  }
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory != nullptr) {
    live.fetch_add(1, std::memory_order_relaxed);
  }
  return memory;
}

void Free(void* memory) noexcept {
  if (memory != nullptr) {
    live.fetch_sub(1, std::memory_order_relaxed);
  }
  std::free(memory);
}

}  // namespace

int Allocations::Count() noexcept { return requests; }
void Allocations::Reset() noexcept { requests = 0; }
int Allocations::Live() noexcept { return live.load(std::memory_order_relaxed); }

void Allocations::Allow(int count, int refused) noexcept {
  granted = count;
  refusals = refused;
}

void* operator new(std::size_t size) {
  if (void* const memory = Allocate(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}
void operator delete(void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { Free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { Free(memory); }
