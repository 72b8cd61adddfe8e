// SPDX-License-Identifier: MIT
// Loads and unloads a module that uses the framework, over and over, without linking it itself.
//
//   velta_loader MODULE LIBRARY ROUNDS
#include "tests/crossmodule/Module.h"
#include "tests/support/Watchdog.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int argc, char** argv) {
  if (argc != 4) {
    return 2;
  }
  const char* const path = argv[1];
  const char* const library = argv[2];
  const int rounds = std::atoi(argv[3]);

  const Watchdog watchdog("loading and unloading", std::chrono::seconds(100));
  for (int round = 1; round <= rounds; ++round) {
    {
      const Module module(path);
      if (!module || !Module::IsLoaded(library)) {
        std::fprintf(stderr, "round %d: %s is not loaded, or not with %s\n", round, path, library);
        return 1;
      }
      auto* const run = module.Find<bool()>("RunEverything");
      if (run == nullptr || !run()) {
        std::fprintf(stderr, "round %d: it does not work\n", round);
        return 1;
      }
    }
    // A thread that has ended for its owner may still be on its very last instructions, and Linux
    // keeps their code until it is through.
    while (Module::IsLoaded(library)) {
      std::this_thread::yield();
    }
  }
  std::printf("%d rounds\n", rounds);
  return 0;
}
