// SPDX-License-Identifier: MIT
// One command processor, and every pair and triple of what can be asked of it at once.
#include "Kit.h"
#include "tests/support/ThreadKit.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MError.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Velta::Simulation {

namespace {

using Action = std::function<void()>;

const MException failure(MError(L"Scenario:Failure"));

enum class Situation : std::uint8_t {
  Fresh,
  Running,
  Busy,   // in a command that goes on when the owner closes
  Dying,  // by a command's error
  Stopped,
  BadStart,  // the hook throws
  BadFlush,
  BadExit,
};
constexpr const char* kSituations[] = {"fresh",   "running",   "busy",      "dying",
                                       "stopped", "bad start", "bad flush", "bad exit"};

/// The life of one command.
struct Ticket {
  Action action;
  bool isFatal = false;
  bool isRefused = false;  // its caller has been told that it never runs
  std::uint32_t ran = 0;
  std::uint32_t deleted = 0;
  std::uint32_t pushBegin = 0;  // moments of the world
  std::uint32_t pushEnd = UINT32_MAX;
  const MCommand* command = nullptr;  // an asynchronous one
};

/// A processor in some situation, what is asked of it, and what must hold of that.
class World final : public IThreadErrorHandler {
 public:
  explicit World(Situation situation, std::uint32_t idleTimeoutMs = 0)
      : startThrows_(situation == Situation::BadStart),
        flushThrows_(situation == Situation::BadFlush),
        exitThrows_(situation == Situation::BadExit),
        wasStopped_(situation == Situation::Stopped),
        processor_(std::make_unique<Processor>(*this, idleTimeoutMs)) {
    if (situation == Situation::Fresh || situation == Situation::BadStart) {
      return;
    }
    Start();
    if (situation == Situation::Busy) {
      PushThat([this] { CallBack(); }, false);
    } else if (situation == Situation::Dying) {
      PushFatal();
    } else if (situation == Situation::Stopped) {
      Stop();
    }
    starts_ = stops_ = 0;
  }

  /// Has a thread do it.
  /// @param mustReturn  before the owner stops the processor; else the stop ends it
  void Ask(const char* name, const std::function<void(World&)>& operation, bool mustReturn) {
    asked_.push_back({&Spawn(name, [this, operation] { operation(*this); }), mustReturn});
  }

  // ---- what is asked, and what must hold of each call -------------------------------------------

  void Start() {
    ++starts_;
    const std::uint32_t hooks = startHooks_;
    const Error error =
        Call("Start", startThrows_ ? "AlreadyRunning|ThreadExitedUnexpectedly" : "AlreadyRunning",
             [this] { processor_->Start(); });
    if (error.name.empty()) {
      hasRun_ = true;
      Check(startHooks_ > hooks, "Start returned before the start hook ran");
    }
  }

  void StartRefused() {
    Platform::Grant(0);
    const Error error =
        Call("Start", "AlreadyRunning|BeginThread", [this] { processor_->Start(); });
    Platform::Grant(Platform::kUnlimited);
    Check(!error.name.empty(), "Start without a thread returned");
  }

  void Stop() {
    StopBy("Stop", [this] { processor_->Stop(); });
  }
  void StopBase() {
    StopBy("Stop of the base", [this] { static_cast<MEngineThread&>(*processor_).Stop(); });
  }
  void ForceStop() {
    StopBy("ForceStop", [this] { processor_->ForceStop(); });
  }

  void Flush() {
    const bool wasRunning = processor_->IsRunning();
    const std::uint32_t begin = ++moment_;
    const Error error = Call("Flush", "ThreadExitedUnexpectedly", [this] { processor_->Flush(); });
    Check(error.name.empty() || stops_ + thrown_ != 0,
          "ThreadExitedUnexpectedly, and nobody ended the thread");
    if (wasRunning && GoesOn()) {  // else the processor may be gone by now
      for (const auto& ticket : tickets_) {
        Check(ticket->pushEnd > begin || ticket->ran == 1,
              "Flush returned before a command that was queued before it ran");
      }
    }
  }

  void Execute() { ExecuteThat({}); }
  void ExecuteThat(Action action) {
    ExecuteCommand("ProcessorStopped|CommandProcessingAborted", std::move(action));
  }
  void ExecuteRefused() {
    Platform::Grant(0);
    ExecuteCommand("ProcessorStopped|WaitFailed", {});
    Platform::Grant(Platform::kUnlimited);
  }

  void Push() { PushThat({}, false); }
  void PushFatal() { PushThat({}, true); }

  void AddEvent() {
    added_ = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    processor_->AddEvent(added_, new Callback([this] {
                           ::ResetEvent(added_);
                           isServed_ = true;
                         }));
    hasEvent_ = true;
  }

  // ---- the end, and what must hold of all -------------------------------------------------------

  /// The owner stops the processor, destroys it at once, and looks at what has become of all.
  void Close() {
    WaitUntilOthersRest();  // every call has returned or is inside
    Check(stops_ != 0 || exitThrows_ || heard_ == thrown_,
          "an error that ended the thread was not reported");
    isGateOpen_ = true;
    for (const Asked& asked : asked_) {
      if (asked.mustReturn) {
        Join(*asked.thread);
      }
    }
    if (hasEvent_ && processor_->IsRunning() && GoesOn()) {
      ::SetEvent(added_);
      Wait("the added event's callback", [this] { return isServed_; });
    }
    const bool hasReturned = std::all_of(asked_.begin(), asked_.end(),
                                         [](const Asked& asked) { return asked.thread->ended; });
    if (!hasReturned && !hasRun_) {  // commands of a processor that is not started wait for that
      startThrows_ = false;
      Start();
    }
    const bool mustRun = processor_->IsRunning() && GoesOn();
    if (processor_->IsRunning()) {
      Stop();
    } else {
      JoinAll();  // it was stopped, and nobody may wait for it any longer
    }
    if (processor_->IsRunning() || Platform::Count().openThreads >= processors_) {
      JoinAll();  // another's stop is under way, or about to close what it stopped
    }
    Check(!processor_->IsRunning() && Platform::Count().openThreads < processors_,
          "stopped, but not closed");
    for (const auto& ticket : tickets_) {
      Check(!mustRun || ticket->ran == 1 || ticket->isRefused,
            "a command that was queued before Stop has not run");
    }
    Destroy();
  }

  /// The same without a stop: for a thread that is dead.
  void Destroy() {
    ++stops_;
    processor_.reset();
    Check(!HasThread(), "the thread outlives its object");
    --processors_;
    JoinAll();
    ::CloseHandle(added_);
    Check(startHooks_ == exitHooks_, "the start hook ran %u times, the exit hook %u times",
          startHooks_, exitHooks_);
    Check(heard_ <= thrown_, "an error was reported that nobody raised");
    for (const auto& ticket : tickets_) {
      if (ticket->command != nullptr && ticket->ran + ticket->deleted == 0 && left_ > 0) {
        --left_;  // the queue deletes nothing that it still holds
        delete ticket->command;
      }
      Check(ticket->deleted == 1, "a command was %s",
            ticket->deleted == 0 ? "never deleted" : "deleted twice");
    }
  }

 private:
  class Processor final : public MCommandProcessor {
   public:
    Processor(World& world, std::uint32_t idleMs)
        : MCommandProcessor(&world, new Callback([&world] {
            world.ThrowIf(world.startThrows_);
            ++world.startHooks_;
          }),
                            new Callback([&world] {
                              ++world.exitHooks_;
                              world.ThrowIf(world.exitThrows_);
                            }),
                            new Callback([] { throw failure; }),  // when idle: logged and dropped
                            idleMs, false),
          world_(world) {
      ++processors_;
    }
    ~Processor() override {
      EndForDestruction();
      world_.left_ = Queue().GetCount();
    }

    using MCommandProcessor::AddEvent;
    MThreadSafeFifo<MCommand*, MCommand*>& Queue() {
      return static_cast<MThreadSafeFifo<MCommand*, MCommand*>&>(GetCommandInput());
    }

   private:
    void OnFlush() override {
      world_.ThrowIf(world_.flushThrows_);
      MCommandProcessor::OnFlush();
    }

    World& world_;
  };

  struct CountsDeletion {
    void operator()(Ticket* ticket) const { ++ticket->deleted; }
  };
  /// What a command has of its ticket.
  using Life = std::unique_ptr<Ticket, CountsDeletion>;

  class Asynchronous final : public MCommand {
   public:
    Asynchronous(World& world, Ticket& ticket) : world_(world), life_(&ticket) {
      ticket.command = this;
    }
    void ExecuteGenericCommand() override { world_.OnRun(*life_); }

   private:
    World& world_;
    Life life_;
  };

  class Synchronous final : public MCommandSynchronous {
   public:
    Synchronous(World& world, Ticket& ticket, const MExceptionHolder& outcome)
        : MCommandSynchronous(outcome), world_(world), life_(&ticket) {}

   private:
    void Execute() override { world_.OnRun(*life_); }

    World& world_;
    Life life_;
  };

  struct Asked {
    const Thread* thread;
    bool mustReturn;
  };

  void OnSpontaneousError(const MException& /*exception*/) override { ++heard_; }
  void OnUnhandledException(std::uintptr_t /*argument*/) override {}

  Ticket& NewTicket(Action action, bool isFatal) {
    fatals_ += isFatal ? 1 : 0;
    tickets_.push_back(std::make_unique<Ticket>());
    Ticket& ticket = *tickets_.back();
    ticket.action = std::move(action);
    ticket.isFatal = isFatal;
    ticket.pushBegin = ++moment_;
    return ticket;
  }

  void ExecuteCommand(std::string_view documented, Action action) {
    const bool isBad = tickets_.size() % 2 != 0;  // an error of its own, of which its caller learns
    Ticket& ticket = NewTicket(
        [isBad, action = std::move(action)] {
          if (action) {
            action();
          }
          if (isBad) {
            throw failure;
          }
        },
        false);
    const MExceptionHolder outcome = MExceptionHolder::Create();
    std::unique_ptr<MCommandSynchronous> command =
        std::make_unique<Synchronous>(*this, ticket, outcome);
    const Error error = Call("ExecuteSynchronously", documented,
                             [&] { processor_->ExecuteSynchronously(command); });
    if (error.name.empty()) {
      Check(ticket.ran == 1 && command == nullptr, "the command has not run, its caller returned");
      Check(outcome.HasError() == isBad, "an outcome that is not the command's");
      return;
    }
    ticket.isRefused = true;
    Check(ticket.ran == 0, "%s for a command that has run", error.name.c_str());
    const bool isHandedOver = error.name == "CommandProcessingAborted";
    Check(isHandedOver == (command == nullptr), "%s, and the command is %s", error.name.c_str(),
          isHandedOver ? "still the caller's" : "gone");
    Check(!isHandedOver || stops_ != 0, "CommandProcessingAborted, and nobody stopped");
    Check(error.name != "ProcessorStopped" || stops_ != 0 || wasStopped_,
          "ProcessorStopped, and nobody stopped");
    Check(error.name != "WaitFailed" || error.winErrorCode == std::to_string(Platform::kRefusal),
          "WaitFailed with code \"%s\"", error.winErrorCode.c_str());
  }

  void PushThat(Action action, bool isFatal) {
    Ticket& ticket = NewTicket(std::move(action), isFatal);
    processor_->Queue().Push(new Asynchronous(*this, ticket));
    ticket.pushEnd = ++moment_;
  }

  void StopBy(const char* operation, const Action& stop) {
    ++stops_;
    Call(operation, "", stop);
    Check(stops_ != 1 || starts_ != 0 || (!processor_->IsRunning() && !HasThread()),
          "%s returned before the thread had ended", operation);
  }

  /// In a command that others wait for: no control operation may wait for them.
  void CallBack() {
    Wait("the gate", [this] { return isGateOpen_; });
    Call("Flush on the processor's thread", "CannotFlushSelf", [this] { processor_->Flush(); });
    Call("Start on the processor's thread", "AlreadyRunning", [this] { processor_->Start(); });
    const bool isStopping = processor_->IsStopRequested();
    Call("Stop on the processor's thread", isStopping ? "" : "CannotStopSelf",
         [this] { processor_->Stop(); });
    if (isStopping) {
      processor_->ForceStop();
    }
  }

  void OnRun(Ticket& ticket) {
    ++ticket.ran;
    Check(ticket.ran == 1, "a command ran twice");
    Check(!ticket.isRefused, "a command runs whose caller was told that it never does");
    for (const auto& other : tickets_) {
      Check(other->pushEnd > ticket.pushBegin || other->ran + other->deleted != 0,
            "a command overtook another");
    }
    if (ticket.action) {
      ticket.action();
    }
    ThrowIf(ticket.isFatal);
  }

  void ThrowIf(bool condition) {
    if (condition) {
      ++thrown_;
      throw failure;
    }
  }

  /// Whether a thread that runs goes on: nothing has been asked that ends it.
  [[nodiscard]] bool GoesOn() const {
    return stops_ + fatals_ == 0 && !startThrows_ && !flushThrows_;
  }
  [[nodiscard]] static bool HasThread() { return Platform::Count().liveThreads >= processors_; }
  void JoinAll() const {
    for (const Asked& asked : asked_) {
      Join(*asked.thread);
    }
  }

  static inline std::uint32_t processors_ = 0;  // of all worlds
  bool startThrows_;
  bool flushThrows_;
  bool exitThrows_;
  bool wasStopped_;  // before anything was asked
  bool hasRun_ = false;
  bool hasEvent_ = false;
  bool isGateOpen_ = false;  // what a busy processor waits for
  bool isServed_ = false;    // what was added
  std::uint32_t moment_ = 0;
  std::uint32_t starts_ = 0;  // begun
  std::uint32_t stops_ = 0;   // begun
  std::uint32_t fatals_ = 0;  // commands that are to throw
  std::uint32_t thrown_ = 0;  // on the processor's thread
  std::uint32_t heard_ = 0;   // by the error handler
  std::uint32_t startHooks_ = 0;
  std::uint32_t exitHooks_ = 0;
  std::int32_t left_ = 0;   // on the queue at destruction
  HANDLE added_ = nullptr;  // by AddEvent
  std::vector<std::unique_ptr<Ticket>> tickets_;
  std::unique_ptr<Processor> processor_;
  std::vector<Asked> asked_;
};

// ---- the scenarios ------------------------------------------------------------------------------

struct Operation {
  const char* name;
  void (World::*call)();
  bool mustReturn;
};

constexpr Operation kOperations[] = {
    {"Start", &World::Start, true},         {"StartRefused", &World::StartRefused, true},
    {"Stop", &World::Stop, false},          {"StopBase", &World::StopBase, false},
    {"ForceStop", &World::ForceStop, true}, {"Flush", &World::Flush, false},
    {"Execute", &World::Execute, false},    {"ExecuteRefused", &World::ExecuteRefused, false},
    {"Push", &World::Push, true},           {"PushFatal", &World::PushFatal, true},
    {"AddEvent", &World::AddEvent, true},
};

/// In every situation, which the strategy chooses.
Scenario Together(std::string name, const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) {
    name += (name.back() == '.' ? "" : "+") + std::string(operation.name);
  }
  return InRun(name, [operations] {
    const std::uint32_t situation =
        ChooseNumber("situation", static_cast<std::uint32_t>(std::size(kSituations)));
    Self().name = kSituations[situation];
    World world(static_cast<Situation>(situation));
    for (const Operation& operation : operations) {
      world.Ask(operation.name, operation.call, operation.mustReturn);
    }
    world.Close();
  });
}

void IdleProcessor() {
  World world(Situation::Running, 10);
  world.Ask("Execute", &World::Execute, false);
  world.Ask("Flush", &World::Flush, false);
  world.Close();
}

void DeadProcessor() {
  World world(Situation::Dying);
  world.Ask("Execute", &World::Execute, false);
  world.Ask("Execute", &World::Execute, false);
  WaitUntilOthersRest();
  world.Destroy();
}

/// The first executes on the second, which only notifies the first: else both could wait for ever.
void TwoProcessors() {
  World first(Situation::Running);
  World second(Situation::Running);
  first.Ask("Execute", [&](World& world) { world.ExecuteThat([&] { second.Execute(); }); }, false);
  second.Ask("Execute", [&](World& world) { world.ExecuteThat([&] { first.Push(); }); }, false);
  second.Ask("Stop", &World::Stop, false);
  second.Close();
  first.Close();
}

}  // namespace

std::vector<Scenario> ProcessorScenarios() {
  std::vector<Scenario> all{InRun("processor.idle", &IdleProcessor),
                            InRun("processor.dead", &DeadProcessor),
                            InRun("processor.two", &TwoProcessors)};
  const auto mayFollow = [](const Operation& first, const Operation& second) {
    return first.call != &World::AddEvent || second.call != &World::AddEvent;  // by one thread only
  };
  const auto* const end = std::end(kOperations);
  for (const auto* a = kOperations; a != end; ++a) {
    for (const auto* b = a; b != end; ++b) {
      if (mayFollow(*a, *b)) {
        all.push_back(Together("pair.", {*a, *b}));
      }
      for (const auto* c = b; c != end; ++c) {
        if (mayFollow(*a, *b) && mayFollow(*b, *c)) {
          all.push_back(Together("triple.", {*a, *b, *c}));
        }
      }
    }
  }
  return all;
}

}  // namespace Velta::Simulation
