// SPDX-License-Identifier: MIT
// One command processor and every pair and triple of what can be asked of it at once.
#include "Kit.h"
#include "Platform.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/errors/MError.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

namespace Velta::Simulation {

namespace {

/// The life of one command.
struct Ticket {
  bool isFatal = false;
  bool isRefused = false;  // its caller has been told that it never runs
  std::uint32_t ran = 0;
  std::uint32_t deleted = 0;
  std::uint32_t pushBegin = 0;         // moments of the world
  std::uint32_t pushEnd = UINT32_MAX;  // until known
  std::function<void()> action;
  const MCommand* command = nullptr;  // while it lives
};

const MException Failure(MError(L"Scenario:Failure"));

/// A processor with its state at the begin, what is asked of it, and what must hold of that.
class World final : public IThreadErrorHandler {
 public:
  enum class Situation : std::uint8_t { Fresh, BadStart, Running, BadFlush, Busy, Dying, Stopped };
  static constexpr const char* kSituations[] = {"fresh", "bad start", "running", "bad flush",
                                                "busy",  "dying",     "stopped"};

  explicit World(Situation situation, std::uint32_t idleTimeoutMs = 0);

  void Ask(const char* name, void (World::*operation)(), bool mustReturn);
  /// The owner's end of it: stops the processor, destroys it at once, and looks at everything.
  void Close();

  void Start();
  void StartRefused();
  void Stop();
  void StopBase();
  void ForceStop();
  void Flush();
  void Execute();
  void ExecuteRefused();
  void Push() { PushCommand(false); }
  void PushFatal() { PushCommand(true); }
  void AddEvent();

  /// The dead thread's owner destroys the processor without a stop.
  void Destroy();
  void JoinAll() const;

 private:
  class Processor;
  template <class Base>
  class Tracked;

  void OnSpontaneousError(const MException& /*exception*/) override { ++heard_; }
  void OnUnhandledException(std::uintptr_t /*argument*/) override {}

  Ticket& NewTicket();
  void PushCommand(bool isFatal);
  void ExecuteCommand(std::string_view documented);
  void StopBy(const char* operation, const std::function<void()>& stop);
  void CallBack();
  void OnRun(Ticket& ticket);
  [[nodiscard]] bool IsUndisturbed() const;

  std::vector<std::unique_ptr<Ticket>> tickets_;
  std::uint32_t moment_ = 0;
  std::uint32_t starts_ = 0;  // begun
  std::uint32_t stops_ = 0;   // begun
  std::uint32_t thrown_ = 0;  // on the processor's thread
  std::uint32_t heard_ = 0;   // by the error handler
  std::uint32_t startHooks_ = 0;
  std::uint32_t exitHooks_ = 0;
  std::int32_t left_ = 0;  // on the queue at destruction
  bool hasRun_ = false;
  bool isAborted_ = false;  // from the begin
  bool startHookThrows_ = false;
  bool flushThrows_ = false;
  bool hasEvent_ = false;
  Event gate_;  // what a busy processor waits for
  Event served_;
  Event added_;  // for AddEvent
  std::unique_ptr<Processor> processor_;
  struct Asked {
    std::unique_ptr<Actor> actor;
    bool mustReturn;
  };
  std::vector<Asked> asked_;
};

class World::Processor final : public MCommandProcessor {
 public:
  Processor(World& world, std::uint32_t idleMs)
      : MCommandProcessor(&world, new Callback([&world] {
          if (world.startHookThrows_) {
            throw Failure;
          }
          ++world.startHooks_;
        }),
                          new Callback([&world] { ++world.exitHooks_; }), nullptr, idleMs, false),
        world_(world) {}
  ~Processor() override {
    ForceStop();
    world_.left_ = Queue().GetCount();
  }

  using MCommandProcessor::AddEvent;
  MThreadSafeFifo<MCommand*, MCommand*>& Queue() {
    return static_cast<MThreadSafeFifo<MCommand*, MCommand*>&>(GetCommandInput());
  }

 private:
  void OnFlush() override {
    if (world_.flushThrows_) {
      ++world_.thrown_;
      throw Failure;
    }
    MCommandProcessor::OnFlush();
  }

  World& world_;
};

/// A command that tells its ticket what becomes of it.
template <class Base>
class World::Tracked final : public Base {
 public:
  template <class... Arguments>
  Tracked(World& world, Ticket& ticket, Arguments... arguments)
      : Base(arguments...), world_(world), ticket_(ticket) {
    ticket.command = this;
  }
  ~Tracked() override {
    ++ticket_.deleted;
    ticket_.command = nullptr;
  }

 private:
  void Run() { world_.OnRun(ticket_); }
  void Execute() { Run(); }
  void ExecuteGenericCommand() override {
    if constexpr (std::is_same_v<Base, MCommand>) {
      Run();
    } else {
      Base::ExecuteGenericCommand();
    }
  }

  World& world_;
  Ticket& ticket_;
};

World::World(Situation situation, std::uint32_t idleTimeoutMs)
    : processor_(std::make_unique<Processor>(*this, idleTimeoutMs)) {
  startHookThrows_ = situation == Situation::BadStart;
  flushThrows_ = situation == Situation::BadFlush;
  if (situation == Situation::Fresh || situation == Situation::BadStart) {
    return;
  }
  Start();
  starts_ = 0;
  if (situation == Situation::Busy) {
    Push();
    tickets_.back()->action = [this] { CallBack(); };
  } else if (situation == Situation::Dying) {
    PushFatal();
  } else if (situation == Situation::Stopped) {
    Stop();
    stops_ = 0;
    hasRun_ = false;
    isAborted_ = true;
  }
}

Ticket& World::NewTicket() {
  tickets_.push_back(std::make_unique<Ticket>());
  tickets_.back()->pushBegin = ++moment_;
  return *tickets_.back();
}

// ---- what can be asked --------------------------------------------------------------------------

void World::Ask(const char* name, void (World::*operation)(), bool mustReturn) {
  asked_.push_back({nullptr, mustReturn});
  asked_.back().actor = std::make_unique<Actor>(name, [this, operation] { (this->*operation)(); });
}

void World::Start() {
  ++starts_;
  const std::uint32_t hooks = startHooks_;
  const Error error =
      Call("Start", startHookThrows_ ? "AlreadyRunning|ThreadExitedUnexpectedly" : "AlreadyRunning",
           [this] { processor_->Start(); });
  if (error.name.empty()) {
    hasRun_ = true;
    Check(startHooks_ > hooks, "Start returned before the start hook ran");
  }
}

void World::StartRefused() {
  Platform::Grant(0);
  const Error error = Call("Start", "AlreadyRunning|BeginThread", [this] { processor_->Start(); });
  Platform::Grant(Platform::kUnlimited);
  Check(!error.name.empty(), "Start of a refused thread returned");
}

void World::StopBy(const char* operation, const std::function<void()>& stop) {
  ++stops_;
  Call(operation, "", stop);
  Check(stops_ != 1 || starts_ != 0 || (!processor_->IsRunning() && Platform::LiveThreads() == 0),
        "%s returned before the thread had ended", operation);
}

void World::Stop() {
  StopBy("Stop", [this] { processor_->Stop(); });
}

void World::StopBase() {
  StopBy("Stop of the base", [this] { static_cast<MEngineThread&>(*processor_).Stop(); });
}

void World::ForceStop() {
  StopBy("ForceStop", [this] { processor_->ForceStop(); });
}

bool World::IsUndisturbed() const { return processor_->IsRunning() && stops_ == 0 && thrown_ == 0; }

void World::Flush() {
  const bool wasRunning = processor_->IsRunning();
  const std::uint32_t begin = ++moment_;
  const Error error =
      Call("Flush",
           stops_ + thrown_ != 0 || flushThrows_ || begin != 0 ? "ThreadExitedUnexpectedly" : "",
           [this] { processor_->Flush(); });
  if (!error.name.empty() || !wasRunning || !IsUndisturbed()) {
    return;
  }
  for (const auto& ticket : tickets_) {
    Check(ticket->pushEnd > begin || ticket->ran == 1,
          "Flush returned before a command that was queued before it ran");
  }
}

void World::ExecuteCommand(std::string_view documented) {
  Ticket& ticket = NewTicket();
  const MExceptionHolder outcome = MExceptionHolder::Create();
  std::unique_ptr<MCommandSynchronous> command =
      std::make_unique<Tracked<MCommandSynchronous>>(*this, ticket, outcome);
  const Error error =
      Call("ExecuteSynchronously", documented, [&] { processor_->ExecuteSynchronously(command); });
  if (error.name.empty()) {
    Check(ticket.ran == 1 && command == nullptr, "the command has not run, its caller returned");
    return;
  }
  ticket.isRefused = true;
  Check(ticket.ran == 0, "%s for a command that has run", error.name.c_str());
  const bool isHandedOver = error.name == "CommandProcessingAborted";
  Check(isHandedOver == (command == nullptr), "%s, and the command is %s", error.name.c_str(),
        command == nullptr ? "gone" : "still the caller's");
  Check(!isHandedOver || stops_ != 0, "CommandProcessingAborted, and nobody stopped");
  Check(error.name != "ProcessorStopped" || stops_ != 0 || isAborted_,
        "ProcessorStopped, and nobody stopped");
  Check(error.name != "WaitFailed" || error.winErrorCode == std::to_string(Platform::kRefusal),
        "WaitFailed with code \"%s\"", error.winErrorCode.c_str());
}

void World::Execute() { ExecuteCommand("ProcessorStopped|CommandProcessingAborted"); }

void World::ExecuteRefused() {
  Platform::Grant(0);
  ExecuteCommand("ProcessorStopped|WaitFailed");
  Platform::Grant(Platform::kUnlimited);
}

void World::PushCommand(bool isFatal) {
  Ticket& ticket = NewTicket();
  ticket.isFatal = isFatal;
  processor_->Queue().Push(new Tracked<MCommand>(*this, ticket));
  ticket.pushEnd = ++moment_;
}

void World::AddEvent() {
  processor_->AddEvent(added_.handle(), new Callback([this] {
                         ::ResetEvent(added_.handle());
                         served_.Set();
                       }));
  hasEvent_ = true;
}

/// On the processor's thread, in a command that others wait for: refused at once or without effect.
void World::CallBack() {
  gate_.Wait();
  Call("Flush on the processor's thread", "CannotFlushSelf", [this] { processor_->Flush(); });
  Call("Start on the processor's thread", "AlreadyRunning", [this] { processor_->Start(); });
  if (processor_->IsStopRequested()) {
    Call("Stop on the processor's thread", "", [this] { processor_->Stop(); });
    processor_->ForceStop();
  } else {
    Call("Stop on the processor's thread", "CannotStopSelf", [this] { processor_->Stop(); });
  }
}

void World::OnRun(Ticket& ticket) {
  ++ticket.ran;
  Check(ticket.ran == 1, "a command ran twice");
  Check(!ticket.isRefused, "a command runs whose caller was told that it never does");
  for (const auto& other : tickets_) {
    Check(other->pushEnd > ticket.pushBegin || other->ran != 0 || other->deleted != 0,
          "a command overtook another");
  }
  if (ticket.action) {
    ticket.action();
  }
  if (ticket.isFatal) {
    ++thrown_;
    throw Failure;
  }
}

// ---- the end ------------------------------------------------------------------------------------

void World::JoinAll() const {
  for (const Asked& asked : asked_) {
    asked.actor->Join();
  }
}

void World::Close() {
  Scheduler::Current()->WaitForOthers("all wait", false);  // every call has returned or is inside
  gate_.Set();
  for (const Asked& asked : asked_) {
    if (asked.mustReturn) {
      asked.actor->Join();
    }
  }
  if (hasEvent_ && IsUndisturbed()) {
    added_.Set();
    served_.Wait();
  }
  const bool allReturned = std::all_of(asked_.begin(), asked_.end(),
                                       [](const Asked& asked) { return asked.actor->HasEnded(); });
  if (!allReturned && !hasRun_ && !isAborted_) {  // callers wait for a processor's start
    startHookThrows_ = false;
    Start();
  }
  const bool isStopped = !processor_->IsRunning();
  const bool isUndisturbed = IsUndisturbed();
  if (isStopped) {
    JoinAll();  // the stop has released them
  } else {
    Stop();
    if (processor_->IsRunning()) {  // another's stop is still under way
      JoinAll();
    }
  }
  Check(!processor_->IsRunning() && Platform::OpenThreads() == 0, "stopped, but not closed");
  for (const auto& ticket : tickets_) {
    Check(!isUndisturbed || thrown_ != 0 || ticket->ran == 1 || ticket->isRefused,
          "a command that was queued before Stop has not run");
  }
  Destroy();
}

void World::Destroy() {
  processor_.reset();
  Check(Platform::LiveThreads() == 0, "the thread outlives its object");
  JoinAll();
  Check(startHooks_ == exitHooks_, "a start hook ran %u times, the exit hook %u times", startHooks_,
        exitHooks_);
  Check(heard_ <= thrown_ + starts_, "an error was reported that nobody raised");
  for (const auto& ticket : tickets_) {
    const bool isAsynchronous = ticket->pushEnd != UINT32_MAX;
    if (ticket->deleted == 0 && ticket->ran == 0 && isAsynchronous && left_ > 0) {
      --left_;  // it was on the queue, which deletes nothing
      delete ticket->command;
    }
    Check(ticket->deleted == 1, "a command was %s",
          ticket->deleted == 0 ? "never deleted" : "deleted twice");
  }
}

// ---- the scenarios ------------------------------------------------------------------------------

struct Operation {
  const char* name;
  void (World::*call)();
  bool
      mustReturn;  // before the processor is destroyed; else its stop need only have been asked for
};

constexpr Operation kOperations[] = {
    {"Start", &World::Start, true},         {"StartRefused", &World::StartRefused, true},
    {"Stop", &World::Stop, false},          {"StopBase", &World::StopBase, false},
    {"ForceStop", &World::ForceStop, true}, {"Flush", &World::Flush, false},
    {"Execute", &World::Execute, false},    {"ExecuteRefused", &World::ExecuteRefused, false},
    {"Push", &World::Push, true},           {"PushFatal", &World::PushFatal, true},
    {"AddEvent", &World::AddEvent, true},
};

Scenario Together(const std::vector<Operation>& operations) {
  std::string name;
  for (const Operation& operation : operations) {
    name += (name.empty() ? "" : "+") + std::string(operation.name);
  }
  return InRun(name, [operations] {
    const std::uint32_t situation = Scheduler::Current()->ChooseNumber(
        "situation", static_cast<std::uint32_t>(std::size(World::kSituations)));
    Scheduler::Current()->SetName(Scheduler::Self(), World::kSituations[situation]);
    World world(static_cast<World::Situation>(situation));
    for (const Operation& operation : operations) {
      world.Ask(operation.name, operation.call, operation.mustReturn);
    }
    world.Close();
  });
}

}  // namespace

void AddProcessorScenarios(std::vector<Scenario>& scenarios) {
  constexpr std::size_t kCount = std::size(kOperations);
  for (std::size_t a = 0; a < kCount; ++a) {
    for (std::size_t b = a; b < kCount; ++b) {
      scenarios.push_back(Together({kOperations[a], kOperations[b]}));
    }
  }
}

}  // namespace Velta::Simulation
