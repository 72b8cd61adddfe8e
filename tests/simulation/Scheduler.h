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
/// All state is the baton holder's, so none of it is locked. Outside of runs (static initialisers,
/// the driver) there is one thread: it never waits, and points do nothing there.
namespace Velta::Simulation {

inline constexpr std::int64_t kNever = (std::numeric_limits<std::int64_t>::max)();
inline constexpr std::uint32_t kClock = 0;  // the clock is chosen like a thread; 1 is the body
inline constexpr std::uint32_t kMaxThreads = 64;

struct Thread {
  std::uint32_t number = 0;     // the n-th of its run
  std::uint32_t id = 1;         // as systems give them: again at once when a thread has ended
  std::uint32_t decisions = 0;  // it has come to so far
  std::uint32_t undivided = 0;  // above 0: what it does now has no decision points
  std::uint32_t sections = 0;   // locks that it holds; must be 0 at its end
  bool ended = false;
  bool timedOut = false;
  std::int64_t deadline = kNever;
  std::function<bool()> condition;  // empty: it can go on
  std::string waitsFor;
  std::string name;
  std::function<void()> body;
  std::function<void()> atEnd;  // runs after the destructors of its thread-local objects
  sem_t baton{};
};

/// A decision that is not the default, to go on, else the lowest thread. Counted by the thread's
/// own decisions, it keeps its meaning when others are left out.
struct Deviation {
  std::uint32_t thread;
  std::uint32_t decision;
  std::uint32_t chosen;
};

/// What a run leaves to the process that watches it, whatever ends it.
struct Record {
  static constexpr std::uint32_t kMaxSteps = 20'000;

  std::uint64_t schedules = 0;  // completed
  std::uint64_t totalSteps = 0;
  bool exhausted = false;   // there are no more schedules
  bool prints = false;      // each step, and at a failure what the threads do
  std::uint32_t steps = 0;  // of the last run, as what follows
  std::uint32_t deviations = 0;
  Deviation deviation[kMaxSteps];
  char verdict[256];  // empty: nothing was found
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
  /// To be called before each run. @return false when there are no more schedules
  virtual bool Begin(std::uint64_t seed) = 0;
  virtual std::uint32_t Choose(const Choice& choice) noexcept = 0;
  /// The thread waits for others to change something: it is to come after all that can go on.
  virtual void Demote(std::uint32_t /*thread*/) noexcept {}
  /// Whether it is asked at fine points, too.
  [[nodiscard]] virtual bool IsFine() const noexcept { return false; }
};

/// Everybody who can go on is equally likely; the clock is so once in eight times.
std::unique_ptr<Strategy> MakeRandomWalk();
/// Random priorities: the highest that can go on does. At two random steps whoever runs falls below
/// all others; finds every fault of that depth with a known probability.
std::unique_ptr<Strategy> MakePriorities();
/// Every schedule with at most so many preemptions, one after another: a preemption takes the
/// turn of a thread that can go on, or lets time pass while any can.
std::unique_ptr<Strategy> MakeExhaustive(std::uint64_t preemptions);
/// One schedule, as it was.
std::unique_ptr<Strategy> MakeGuided(std::vector<Deviation> deviations);

/// Adds what the thread does to its line in reports; null, or set before the first run.
extern std::string (*describeThread)(const Thread& thread);

/// Runs the body as thread 1, until every thread has ended.
void RunSchedule(Strategy& strategy, Record& record, const std::function<void()>& body);

/// Runs it, and looks after memory from `new` meanwhile. Freed blocks are filled and kept until it
/// ends, so whoever still writes to them is found, and whoever reads them gets nothing sensible.
/// Memory that is freed twice fails the run. In builds with the address sanitizer that does its own
/// work, and nothing is counted.
/// @return how many blocks are left over; -1 when freed memory was written
std::int64_t WatchMemory(const std::function<void()>& run);

/// Lets others go first, perhaps. To be called before whatever others can see.
/// @param name  a literal: what the caller is about to do
void Point(const char* name, const void* object = nullptr) noexcept;
/// A point that few faults need: after what others can see.
void FinePoint(const char* name) noexcept;
/// The caller is the last to go on: for what loops until something changes.
void Yield() noexcept;
/// A number below `count`, each in some schedule.
std::uint32_t ChooseNumber(const char* name, std::uint32_t count) noexcept;

/// Returns when the condition holds, or when virtual time has reached the deadline.
/// @param what  "event 0x4", for reports
void Wait(const std::string& what, const std::function<bool()>& condition,
          std::int64_t deadline = kNever) noexcept;
/// Waits for so many milliseconds, if nothing comes earlier.
void WaitFor(const std::string& what, const std::function<bool()>& condition,
             std::uint32_t milliseconds) noexcept;
/// Returns when all others can do nothing but wait.
void WaitUntilOthersRest() noexcept;
void WaitUntilOthersEnd() noexcept;
void Join(const Thread& thread) noexcept;

Thread& Spawn(const char* name, std::function<void()> body, std::function<void()> atEnd = {});
/// Outside of runs one that stands for all else.
Thread& Self() noexcept;
[[nodiscard]] bool IsThread(const void* address) noexcept;
[[nodiscard]] std::int64_t Now() noexcept;  // nanoseconds

struct Scenario {
  std::string name;
  std::function<void()> body;
  std::string expected;  // the verdict that every way of choosing must come to; empty: none
};
/// What there is to run; each program has its own.
std::vector<Scenario> AllScenarios();

/// Ends the process with a verdict on the schedule.
[[noreturn, gnu::format(printf, 1, 2)]] void Fail(const char* format, ...) noexcept;
/// The same unless the condition holds.
[[gnu::format(printf, 2, 3)]] void Check(bool condition, const char* format, ...) noexcept;

}  // namespace Velta::Simulation
