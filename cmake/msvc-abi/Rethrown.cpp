// SPDX-License-Identifier: MIT
// What Wine 8.0 does to an exception that is rethrown from an exception_ptr: it is destroyed once
// more than it was made. See README.md.
#include <cstdio>
#include <exception>

namespace {

int alive = 0;

struct Counted {
  Counted() { ++alive; }
  Counted(const Counted&) { ++alive; }
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --alive; }
};

}  // namespace

int main() {
  std::exception_ptr held;
  try {
    throw Counted();
  } catch (...) {
    held = std::current_exception();
  }
  try {
    std::rethrow_exception(held);
  } catch (const Counted&) {
    std::puts("caught");
  }
  held = nullptr;
  std::printf("%d alive\n", alive);
}
