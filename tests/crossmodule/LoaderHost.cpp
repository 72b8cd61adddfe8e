// SPDX-License-Identifier: MIT
// Loads and unloads a module that uses the framework, over and over, without linking it itself.
//
//   velta_loader MODULE LIBRARY ROUNDS
#include "tests/crossmodule/Module.h"
#include "tests/support/Watchdog.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const char* const path = argv[1];
  const char* const library = argv[2];
  const int rounds = std::atoi(argv[3]);

  const Watchdog watchdog("loading and unloading", std::chrono::seconds(100));
  for (int round = 1; round <= rounds; ++round) {
    {
      const Module module(path);
      if (!module) {
        std::fprintf(stderr, "round %d: %s cannot be loaded\n", round, path);
        return 1;
      }
      if (!Module::IsLoaded(library)) {
        std::fprintf(stderr, "round %d: %s does not use %s\n", round, path, library);
        return 1;
      }
      auto* const run = module.Find<int()>("RunEverything");
      const int failedStep = run != nullptr ? run() : -1;
      if (failedStep != 0) {
        std::fprintf(stderr, "round %d: step %d failed\n", round, failedStep);
        return 1;
      }
    }
    // A thread that has ended for its owner may still be on its very last instructions, and Linux
    // keeps their code until it is through.
    while (Module::IsLoaded(library)) std::this_thread::yield();
  }
  std::printf("%d rounds\n", rounds);
  return 0;
}
