// SPDX-License-Identifier: MIT
#include "Scheduler.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iomanip>
#include <ios>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

#include <unistd.h>

namespace Velta::Simulation {

std::string (*describeThread)(const Thread& thread) = nullptr;

namespace {

struct Run {
  Strategy& strategy;
  Record& record;
  std::vector<std::unique_ptr<Thread>> threads;  // [number]; [kClock] stands for the clock
  std::vector<std::uint32_t> options;
  Thread* current = nullptr;
  bool yields = false;
  std::int64_t now = 1'000'000'000;
};

constinit Run* run = nullptr;
constinit thread_local Thread* self = nullptr;  // null outside of runs
Thread outside;

bool CanGoOn(const Thread& thread) noexcept {
  return !thread.ended && (!thread.condition || thread.timedOut || thread.condition());
}

void TakeBaton(Thread& thread) noexcept {
  while (::sem_wait(&thread.baton) != 0) {
  }
}

void AdvanceClock() noexcept {
  std::int64_t next = kNever;
  for (const auto& thread : run->threads) {
    if (!CanGoOn(*thread)) {
      next = (std::min)(next, thread->deadline);
    }
  }
  run->now = (std::max)(run->now, next);
  for (const auto& thread : run->threads) {
    thread->timedOut = thread->timedOut || thread->deadline <= run->now;
  }
  run->strategy.Demote(kClock);
}

std::uint32_t Ask(const char* name, const void* object, bool mayStay, bool isNumber) noexcept {
  Record& record = run->record;
  const Thread& me = *run->current;
  if (record.steps == Record::kMaxSteps) {
    Fail("no end after %u steps", record.steps);
  }
  const std::uint32_t chosen =
      run->strategy.Choose({me, record.steps, run->options, mayStay, isNumber});
  const bool isDeviation = chosen != run->options[0];
  if (isDeviation) {
    record.deviation[record.deviations++] = {me.number, me.decisions, chosen};
  }
  ++record.steps;
  ++record.totalSteps;
  if (record.prints) {
    std::ostringstream line;
    line << std::setw(6) << me.number << '.' << std::left << std::setw(4) << me.decisions
         << std::setw(24) << me.name << ' ' << name;
    if (object != nullptr) {
      line << ' ' << object;
    }
    if (isDeviation) {
      line << "  -> " << chosen;
    }
    ::dprintf(STDOUT_FILENO, "%s\n", line.str().c_str());
  }
  return chosen;
}

/// Hands the baton to whom the strategy chooses; returns when the caller has it again.
void Decide(const char* name, const void* object) noexcept {
  Thread& me = *run->current;
  std::vector<std::uint32_t>& options = run->options;
  for (;;) {
    ++me.decisions;
    options.clear();
    const bool mayStay = !run->yields && CanGoOn(me);
    if (mayStay) {
      options.push_back(me.number);
    }
    bool isTimed = false;
    for (std::size_t i = 1; i < run->threads.size(); ++i) {
      const Thread& thread = *run->threads[i];
      const bool canGoOn = CanGoOn(thread);
      if (canGoOn && &thread != &me) {
        options.push_back(thread.number);
      }
      isTimed = isTimed || (!canGoOn && !thread.ended && thread.deadline != kNever);
    }
    if (isTimed) {
      options.push_back(kClock);
    }
    if (options.empty() && run->yields) {
      options.push_back(me.number);
    }
    run->yields = false;
    if (options.empty()) {
      Fail("deadlock");
    }
    const std::uint32_t next = Ask(name, object, mayStay, false);
    if (next == kClock) {
      AdvanceClock();
      continue;
    }
    if (next == me.number) {
      return;
    }
    const bool leaves = me.ended;  // once the baton is gone nothing here may be touched
    run->current = run->threads[next].get();
    ::sem_post(&run->current->baton);
    if (!leaves) {
      TakeBaton(me);
    }
    return;
  }
}

struct EndThread {
  void operator()(Thread* me) const noexcept {
    Check(me->sections == 0, "%s (thread %u) ended inside a critical section", me->name.c_str(),
          me->number);
    Point("end of thread");
    if (me->atEnd) {
      me->atEnd();
    }
    me->ended = true;
    Decide("ended", nullptr);
  }
};

/// Made before a thread's other thread-local objects, so its destructor is what runs last.
thread_local std::unique_ptr<Thread, EndThread> threadEnd;

Thread& AddThread(const char* name) {
  auto thread = std::make_unique<Thread>();
  thread->number = static_cast<std::uint32_t>(run->threads.size());
  Check(thread->number < kMaxThreads, "more than %u threads", kMaxThreads);
  thread->name = name;
  const auto isTaken = [&](const auto& other) { return !other->ended && other->id == thread->id; };
  while (std::any_of(run->threads.begin(), run->threads.end(), isTaken)) {
    ++thread->id;
  }
  ::sem_init(&thread->baton, 0, 0);
  run->threads.push_back(std::move(thread));
  return *run->threads.back();
}

void WaitForOthers(const char* what, bool (*isBusy)(const Thread&)) noexcept {
  Wait(what, [me = self, isBusy] {
    return std::none_of(run->threads.begin() + 1, run->threads.end(),
                        [&](const auto& other) { return other.get() != me && isBusy(*other); });
  });
}

}  // namespace

void RunSchedule(Strategy& strategy, Record& record, const std::function<void()>& body) {
  Run made{strategy, record, {}, {}};
  run = &made;
  record.steps = record.deviations = 0;
  AddThread("clock");
  made.current = self = &AddThread("owner");
  body();
  WaitUntilOthersEnd();
  self = nullptr;
  run = nullptr;
}

void Point(const char* name, const void* object) noexcept {
  if (self != nullptr && self->undivided == 0) {
    Decide(name, object);
  }
}

void FinePoint(const char* name) noexcept {
  if (self != nullptr && run->strategy.IsFine()) {
    Point(name);
  } else if (self != nullptr && self->undivided == 0) {
    ++self->decisions;  // numbered alike for all strategies
  }
}

void Yield() noexcept {
  if (self != nullptr) {
    run->strategy.Demote(self->number);
    run->yields = true;
    Decide("yield", nullptr);
  }
}

std::uint32_t ChooseNumber(const char* name, std::uint32_t count) noexcept {
  ++self->decisions;
  run->options.clear();
  for (std::uint32_t i = 0; i < count; ++i) {
    run->options.push_back(i);
  }
  return Ask(name, nullptr, false, true);
}

void Wait(const std::string& what, const std::function<bool()>& condition,
          std::int64_t deadline) noexcept {
  if (self != nullptr) {
    self->condition = condition;
    self->waitsFor = what;
    self->deadline = deadline;
    Decide("waits", nullptr);
    self->condition = nullptr;
    self->deadline = kNever;
    self->timedOut = false;
  }
}

void WaitFor(const std::string& what, const std::function<bool()>& condition,
             std::uint32_t milliseconds) noexcept {
  Wait(what, condition, Now() + std::int64_t{milliseconds} * 1'000'000);
}

void WaitUntilOthersRest() noexcept { WaitForOthers("all others to rest", &CanGoOn); }
void WaitUntilOthersEnd() noexcept {
  WaitForOthers("the end of all others", [](const Thread& other) { return !other.ended; });
}

void Join(const Thread& thread) noexcept {
  Wait("the end of thread " + std::to_string(thread.number), [&] { return thread.ended; });
}

Thread& Spawn(const char* name, std::function<void()> body, std::function<void()> atEnd) {
  Thread& thread = AddThread(name);
  thread.body = std::move(body);
  thread.atEnd = std::move(atEnd);
  std::thread([&thread] {
    TakeBaton(thread);
    self = &thread;
    threadEnd.reset(&thread);
    thread.body();
  }).detach();
  Point("thread made");  // the new thread may be first
  return thread;
}

Thread& Self() noexcept { return self != nullptr ? *self : outside; }

bool IsThread(const void* address) noexcept {
  return std::any_of(run->threads.begin(), run->threads.end(),
                     [&](const auto& thread) { return thread.get() == address; });
}

std::int64_t Now() noexcept { return run->now; }

void Fail(const char* format, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(run->record.verdict, sizeof(run->record.verdict), format, arguments);
  va_end(arguments);
  self = nullptr;  // what describes the threads uses the platform as if outside of runs
  for (std::size_t i = 1; run->record.prints && i < run->threads.size(); ++i) {
    const Thread& thread = *run->threads[i];
    if (!thread.ended) {
      const std::string runs = &thread == run->current ? "runs" : "can go on";
      const std::string does = CanGoOn(thread) ? runs : "waits for " + thread.waitsFor;
      const std::string more = describeThread != nullptr ? describeThread(thread) : "";
      ::dprintf(STDOUT_FILENO, "  thread %u %s %s%s\n", thread.number, thread.name.c_str(),
                does.c_str(), more.c_str());
    }
  }
  ::_exit(1);
}

void Check(bool condition, const char* format, ...) noexcept {
  if (!condition) {
    char text[sizeof(Record::verdict)];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    Fail("%s", text);
  }
}

}  // namespace Velta::Simulation
