// SPDX-License-Identifier: MIT
#include "velta/platform/posix/Futex.h"

#include <cerrno>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Velta::Posix {

static_assert(sizeof(Atomic<std::uint32_t>) == sizeof(std::uint32_t),
              "the kernel reads the word as it lies in memory");

bool FutexWait(const Atomic<std::uint32_t>* word, std::uint32_t expected,
               const timespec* deadline) noexcept {
  const int kept = errno;
  // The bitset form takes an absolute deadline, so that being woken for nothing costs no time.
  const long result = ::syscall(SYS_futex, word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected,
                                deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
  const bool timedOut = result != 0 && errno == ETIMEDOUT;
  errno = kept;
  return !timedOut;
}

void FutexWake(const Atomic<std::uint32_t>* word, int count) noexcept {
  const int kept = errno;
  ::syscall(SYS_futex, word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, count);
  errno = kept;
}

}  // namespace Velta::Posix
