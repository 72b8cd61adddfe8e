// SPDX-License-Identifier: MIT
#include "velta/platform/internal/ThreadName.h"

#include <array>
#include <cstdint>
#include <cstring>

#include <pthread.h>

void Velta::Platform::AnnounceThreadName(std::uint32_t /*threadId*/, const char* name) noexcept {
  if (name == nullptr) {
    return;
  }
  constexpr std::size_t kLongest = 15;  // a longer name would be refused, not cut
  std::array<char, kLongest + 1> cut{};
  std::strncpy(cut.data(), name, kLongest);
  ::pthread_setname_np(::pthread_self(), cut.data());
}
