// SPDX-License-Identifier: MIT
// Ends while a processor executes a command, another waits, and a scheduler waits: nobody stops
// them.
//
//   velta_exit_host return|exit|quick
#include "tests/support/Watchdog.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"
#include "velta/commands/MDesyncEventScheduler.h"
#include "velta/commands/MExceptionHolder.h"

#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

namespace {

/// Tells that it runs, then never ends.
class EndlessCommand : public MCommandSynchronous {
 public:
  explicit EndlessCommand(std::promise<void>* startedPromise)
      : MCommandSynchronous(MExceptionHolder()), started(startedPromise) {}

 protected:
  void Execute() override {
    started->set_value();
    std::promise<void>().get_future().wait();
  }

 private:
  std::promise<void>* started;
};

// Reachable to the last, so that a leak checker sees that they are meant to stay.
MCommandProcessor* busy = nullptr;
MCommandProcessor* idle = nullptr;
MDesyncEventScheduler* scheduler = nullptr;
std::promise<void>* started = nullptr;

MCommandProcessor* NewRunningProcessor() {
  auto* const processor = new MCommandProcessor(nullptr, nullptr, nullptr, nullptr, 0, false);
  processor->Start();
  return processor;
}

void LeaveThreadsRunning() {
  const Watchdog watchdog("threads that are left running");
  idle = NewRunningProcessor();
  busy = NewRunningProcessor();
  scheduler = new MDesyncEventScheduler(nullptr);
  scheduler->Enable();
  started = new std::promise<void>;
  std::thread([] {
    std::unique_ptr<MCommandSynchronous> command = std::make_unique<EndlessCommand>(started);
    busy->ExecuteSynchronously(command);
  }).detach();
  started->get_future().wait();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view way = argc == 2 ? argv[1] : "";
  if (way != "return" && way != "exit" && way != "quick") return 2;
  LeaveThreadsRunning();
  if (way == "exit") std::exit(0);
  if (way == "quick") std::_Exit(0);
  return 0;
}
