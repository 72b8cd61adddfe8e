// SPDX-License-Identifier: MIT
// Stays alive until killed, so that Wine's services stay up between tests.
#include <windows.h>

int main() {
  ::Sleep(INFINITE);
  return 0;
}
