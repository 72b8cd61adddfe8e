// SPDX-License-Identifier: MIT
#include "support/Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int requests = 0;
thread_local int granted = Allocations::kUnlimited;

void* Allocate(std::size_t size) noexcept {
  ++requests;
  if (granted == 0) return nullptr;
  if (granted > 0) --granted;
  return std::malloc(size != 0 ? size : 1);
}

}  // namespace

int Allocations::Count() noexcept { return requests; }
void Allocations::Reset() noexcept { requests = 0; }
void Allocations::Allow(int count) noexcept { granted = count; }

void* operator new(std::size_t size) {
  if (void* const memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { std::free(memory); }
