// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <semaphore.h>

/// Runs real threads one at a time: whoever holds the baton runs, and at each of its decision
/// points a strategy says who gets it next. Time is virtual. Nothing here knows the library.
///
/// All state is the baton holder's, so none of it is locked.
namespace Velta::Simulation {

inline constexpr std::int64_t kNever = (std::numeric_limits<std::int64_t>::max)();
inline constexpr std::uint32_t kClock = 0;  // the clock is chosen like a thread; 1 is the body

/// What a thread waits for; lives as long as the wait.
struct Condition {
  std::function<bool()> holds;
  std::function<std::string()> describe;  // for reports: "event #3"
};

/// What a simulated thread runs, and what is told after it has: as the last thing on the thread,
/// after the destructors of its thread-local objects.
struct Program {
  void (*entry)(void* argument);
  void (*ended)(void* argument);
  void* argument;
};

struct Thread {
  std::uint32_t number = 0;     // the n-th of its run
  std::uint32_t id = 0;         // as systems give them: again at once when a thread has ended
  std::uint32_t decisions = 0;  // it has come to so far
  std::uint32_t undivided = 0;  // above 0: what it does now has no decision points
  std::uint32_t sections = 0;   // locks that it holds; must be 0 at its end
  bool ended = false;
  bool timedOut = false;
  std::int64_t deadline = kNever;
  const Condition* condition = nullptr;  // null: it can go on
  Program program{};
  sem_t baton{};
};

/// One decision: at its n-th point a thread let another go on, or chose a number.
struct Step {
  std::uint32_t thread;
  std::uint32_t decision;
  std::uint32_t chosen;
  bool byDefault;
  std::uintptr_t object;
  const char* name;
};

/// What a run leaves to the process that watches it, whatever ends it.
struct Record {
  static constexpr std::uint32_t kMaxSteps = 20'000;
  static constexpr std::uint32_t kMaxThreads = 64;

  std::uint64_t schedules = 0;  // completed
  std::uint64_t totalSteps = 0;
  bool exhausted = false;
  std::uint32_t steps = 0;  // of the run in progress
  Step step[kMaxSteps];
  char threadName[kMaxThreads][32];
  char verdict[256];
  char report[8192];
};

struct Choice {
  const Thread& thread;
  std::uint32_t step;
  const std::vector<std::uint32_t>& options;  // threads; the first is the default
  bool mayStay;                               // the first is the thread itself
  bool isNumber;                              // the options are numbers that a scenario asked for
};

class Strategy {
 public:
  virtual ~Strategy() = default;
  virtual std::uint32_t Choose(const Choice& choice) noexcept = 0;
  /// The thread waits for others to change something: it is to come after all that can go on.
  virtual void Demote(std::uint32_t /*thread*/) noexcept {}
};

class Scheduler {
 public:
  /// The scheduler of the run in progress; null outside of runs and for threads of none.
  static Scheduler* Current() noexcept;
  static Thread& Self() noexcept;

  /// @param finePoints  whether `FinePoint` is a decision point
  Scheduler(Strategy& strategy, Record& record, bool finePoints);

  /// Runs the body as thread 1, until every thread has ended.
  void Run(const std::function<void()>& body);

  /// Lets others go first, perhaps. To be called before whatever others can see.
  /// @param name  a literal: what the caller is about to do
  void Point(const char* name, std::uintptr_t object = 0) noexcept;
  /// A point that few faults need: after what others can see.
  void FinePoint(const char* name) noexcept;
  /// The caller is the last to go on: for what loops until something changes.
  void Yield() noexcept;
  /// A number below `count`, each in some schedule.
  std::uint32_t ChooseNumber(const char* name, std::uint32_t count) noexcept;

  /// Returns when the condition holds, or when virtual time has reached the deadline.
  /// @return whether it holds
  bool Wait(const char* name, std::uintptr_t object, const Condition& condition,
            std::int64_t deadline = kNever) noexcept;
  /// As a futex does: returns when somebody wakes the address. What the word there says is looked
  /// at before: no point lies between the two.
  bool WaitOn(const char* name, const void* address, std::int64_t deadline = kNever) noexcept;
  /// Wakes those that came first. @return how many
  std::uint32_t Wake(const void* address, std::uint32_t most) noexcept;
  /// Returns when all others have ended, or can do nothing but wait.
  void WaitForOthers(const char* name, bool end) noexcept;

  Thread& Spawn(const char* name, const Program& program);
  void SetName(const Thread& thread, const char* name) noexcept;
  [[nodiscard]] const char* NameOf(const Thread& thread) const noexcept;
  [[nodiscard]] bool Knows(const void* thread) const noexcept;

  [[nodiscard]] std::int64_t now() const noexcept { return now_; }  // nanoseconds
  std::int64_t Tick() noexcept { return now_ / 100 + ticks_++; }

  /// Ends the process with a verdict on the schedule.
  [[noreturn, gnu::format(printf, 2, 3)]] void Fail(const char* format, ...) noexcept;

  /// Adds a line to a thread's description in reports; null, or set before the first run.
  static std::string (*describeThread)(const Thread& thread);

 private:
  friend struct ThreadEnd;
  struct Sleeper {
    const void* address;
    bool isWoken;
  };

  void End() noexcept;
  void Decide(const char* name, std::uintptr_t object) noexcept;
  std::uint32_t Ask(const char* name, std::uintptr_t object, bool mayStay, bool isNumber) noexcept;
  void AdvanceClock() noexcept;
  [[nodiscard]] std::string Describe() const;

  Strategy& strategy_;
  Record& record_;
  bool finePoints_;
  std::vector<std::unique_ptr<Thread>> threads_;  // [number]; [kClock] stands for the clock
  std::vector<std::uint32_t> options_;
  std::vector<Sleeper*> sleepers_;  // first come first
  Thread* current_ = nullptr;
  bool yields_ = false;
  std::int64_t now_ = 1'000'000'000;
  std::int64_t ticks_ = 0;
};

}  // namespace Velta::Simulation
