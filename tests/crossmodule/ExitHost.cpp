// SPDX-License-Identifier: MIT
// Ends while a processor executes a command and a scheduler waits: nobody stops them.
//
//   velta_exit_host return|exit|quick
#include "tests/support/Watchdog.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/commands/MExceptionHolder.h"

#include <cstdlib>
#include <future>
#include <memory>
#include <string_view>
#include <thread>

namespace {

// Reachable to the last, so that a leak checker sees that they are meant to stay.
MCommandProcessor* processor = nullptr;
MDesyncEventScheduler* scheduler = nullptr;
std::promise<void>* started = nullptr;

/// Tells that it runs, then never ends.
struct EndlessCommand : MCommandSynchronous {
  EndlessCommand() : MCommandSynchronous(MExceptionHolder()) {}
  void Execute() override {
    started->set_value();
    std::promise<void>().get_future().wait();
  }
};

void LeaveThreadsRunning() {
  const Watchdog watchdog("threads that are left running");
  scheduler = new MDesyncEventScheduler(nullptr);
  scheduler->Enable();
  processor = new MCommandProcessor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor->Start();
  started = new std::promise<void>;
  std::thread([] {
    std::unique_ptr<MCommandSynchronous> command = std::make_unique<EndlessCommand>();
    processor->ExecuteSynchronously(command);
  }).detach();
  started->get_future().wait();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view way = argc == 2 ? argv[1] : "";
  if (way != "return" && way != "exit" && way != "quick") {
    return 2;
  }
  LeaveThreadsRunning();
  if (way == "exit") {
    std::exit(0);
  }
  if (way == "quick") {
    std::_Exit(0);
  }
  return 0;
}
