// SPDX-License-Identifier: MIT
#include "velta/platform/posix/KernelThread.h"

#include <limits.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Velta::Posix {

std::uint32_t KernelThreadId() noexcept {
  return static_cast<std::uint32_t>(::syscall(SYS_gettid));
}

int StartKernelThread(void* (*entry)(void*), void* argument, std::size_t stackSize) noexcept {
  pthread_attr_t attributes;
  int error = ::pthread_attr_init(&attributes);
  if (error != 0) {
    return error;
  }
  ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  if (stackSize != 0) {
    const auto least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t wanted = stackSize > least ? stackSize : least;
    error = ::pthread_attr_setstacksize(&attributes, (wanted + page - 1) / page * page);
  }
  pthread_t id;
  if (error == 0) {
    error = ::pthread_create(&id, &attributes, entry, argument);
  }
  ::pthread_attr_destroy(&attributes);
  return error;
}

}  // namespace Velta::Posix
