// SPDX-License-Identifier: MIT
// Another process, which fails and leaves the chain of errors as text: velta_failing_process FILE
#include "tests/crossmodule/FailingPart.h"

#include <fstream>
#include <ios>

int main(int argc, char** argv) {
  if (argc != 2) {
    return 2;
  }
  const MString text = FailureAsText();
  std::ofstream file(argv[1], std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(text.data()),
             static_cast<std::streamsize>(text.size() * sizeof(wchar_t)));
  file.close();
  return file.fail() ? 1 : 0;
}
