// SPDX-License-Identifier: MIT
#include "velta/platform/internal/Assert.h"

#if defined(VELTA_ASSERTIONS)

#include <cstdio>
#include <cstdlib>

void Velta::Platform::FailAssertion(const char* condition, const char* file, int line) noexcept {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, condition);
  std::fflush(stderr);
  std::abort();
}

#endif
