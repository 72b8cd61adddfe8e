// SPDX-License-Identifier: MIT
#include "Scheduler.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <pthread.h>
#include <unistd.h>

namespace Velta::Simulation {

namespace {

constinit Scheduler* running = nullptr;
constinit thread_local Thread* self = nullptr;

bool CanGoOn(const Thread& thread) noexcept {
  return !thread.ended &&
         (thread.condition == nullptr || thread.timedOut || thread.condition->holds());
}

void TakeBaton(Thread& thread) noexcept {
  while (::sem_wait(&thread.baton) != 0) {
  }
}

}  // namespace

/// Its destructor is what a thread does last: it is made before its other thread-local objects.
struct ThreadEnd {
  bool armed = false;
  ThreadEnd() = default;
  ThreadEnd(const ThreadEnd&) = delete;
  ThreadEnd& operator=(const ThreadEnd&) = delete;
  ~ThreadEnd() {
    if (armed) {
      running->End();
    }
  }
};

namespace {

thread_local ThreadEnd threadEnd;

void* RunThread(void* argument) noexcept {
  self = static_cast<Thread*>(argument);
  TakeBaton(*self);
  threadEnd.armed = true;
  self->program.entry(self->program.argument);
  return nullptr;
}

}  // namespace

std::string (*Scheduler::describeThread)(const Thread& thread) = nullptr;

Scheduler* Scheduler::Current() noexcept { return self != nullptr ? running : nullptr; }
Thread& Scheduler::Self() noexcept { return *self; }

Scheduler::Scheduler(Strategy& strategy, Record& record, bool finePoints)
    : strategy_(strategy), record_(record), finePoints_(finePoints) {
  record_.steps = 0;
  threads_.push_back(std::make_unique<Thread>());  // the clock
  SetName(*threads_[kClock], "clock");
}

void Scheduler::Run(const std::function<void()>& body) {
  running = this;
  current_ = self = &Spawn("owner", {});
  body();
  WaitForOthers("end of the scenario", true);
  self = nullptr;
  running = nullptr;
}

void Scheduler::WaitForOthers(const char* name, bool end) noexcept {
  const auto isAtRest = [&me = *self, end](const auto& other) {
    return other->ended || other.get() == &me || (!end && !CanGoOn(*other));
  };
  Wait(name, 0,
       {[&] { return std::all_of(threads_.begin() + 1, threads_.end(), isAtRest); },
        [] { return "all other threads"; }});
}

Thread& Scheduler::Spawn(const char* name, const Program& program) {
  auto made = std::make_unique<Thread>();
  Thread& thread = *made;
  thread.number = static_cast<std::uint32_t>(threads_.size());
  if (thread.number == Record::kMaxThreads) {
    Fail("more than %u threads", thread.number);
  }
  const auto isTaken = [&](const auto& other) { return !other->ended && other->id == thread.id; };
  do {
    ++thread.id;
  } while (std::any_of(threads_.begin(), threads_.end(), isTaken));
  thread.program = program;
  ::sem_init(&thread.baton, 0, 0);
  threads_.push_back(std::move(made));
  SetName(thread, name);
  if (program.entry != nullptr) {
    pthread_t id{};
    if (::pthread_create(&id, nullptr, &RunThread, &thread) != 0) {
      Fail("no thread to be had");
    }
    ::pthread_detach(id);
    Point("thread made");  // the new thread may be first
  }
  return thread;
}

void Scheduler::SetName(const Thread& thread, const char* name) noexcept {
  std::snprintf(record_.threadName[thread.number], sizeof(record_.threadName[0]), "%s", name);
}

const char* Scheduler::NameOf(const Thread& thread) const noexcept {
  return record_.threadName[thread.number];
}

bool Scheduler::Knows(const void* thread) const noexcept {
  return std::any_of(threads_.begin(), threads_.end(),
                     [&](const auto& known) { return known.get() == thread; });
}

void Scheduler::End() noexcept {
  if (self->sections != 0) {
    Fail("%s (thread %u) ended inside a critical section", NameOf(*self), self->number);
  }
  Point("end of thread");
  self->program.ended(self->program.argument);
  self->ended = true;
  Decide("ended", 0);
}

void Scheduler::Point(const char* name, std::uintptr_t object) noexcept {
  if (self->undivided == 0) {
    Decide(name, object);
  }
}

void Scheduler::FinePoint(const char* name) noexcept {
  if (finePoints_) {
    Point(name);
  }
}

void Scheduler::Yield() noexcept {
  strategy_.Demote(self->number);
  yields_ = true;
  Decide("yield", 0);
}

std::uint32_t Scheduler::ChooseNumber(const char* name, std::uint32_t count) noexcept {
  ++current_->decisions;
  options_.clear();
  for (std::uint32_t i = 0; i < count; ++i) {
    options_.push_back(i);
  }
  return Ask(name, 0, false, true);
}

bool Scheduler::Wait(const char* name, std::uintptr_t object, const Condition& condition,
                     std::int64_t deadline) noexcept {
  self->condition = &condition;
  self->deadline = deadline;
  Decide(name, object);
  self->condition = nullptr;
  self->deadline = kNever;
  self->timedOut = false;
  return condition.holds();
}

bool Scheduler::WaitOn(const char* name, const void* address, std::int64_t deadline) noexcept {
  Sleeper sleeper{address, false};
  sleepers_.push_back(&sleeper);
  Wait(name, reinterpret_cast<std::uintptr_t>(address),
       {[&] { return sleeper.isWoken; }, [] { return "a wake-up"; }}, deadline);
  std::erase(sleepers_, &sleeper);
  return sleeper.isWoken;
}

std::uint32_t Scheduler::Wake(const void* address, std::uint32_t most) noexcept {
  std::uint32_t count = 0;
  for (Sleeper* const sleeper : sleepers_) {
    if (count < most && sleeper->address == address && !sleeper->isWoken) {
      sleeper->isWoken = true;
      ++count;
    }
  }
  return count;
}

void Scheduler::AdvanceClock() noexcept {
  std::int64_t next = kNever;
  for (const auto& thread : threads_) {
    if (!CanGoOn(*thread)) {
      next = (std::min)(next, thread->deadline);
    }
  }
  now_ = (std::max)(now_, next);
  for (const auto& thread : threads_) {
    thread->timedOut = thread->timedOut || thread->deadline <= now_;
  }
  strategy_.Demote(kClock);
}

/// Hands the baton to whom the strategy chooses; returns when the caller has it again.
void Scheduler::Decide(const char* name, std::uintptr_t object) noexcept {
  Thread& me = *current_;
  for (;;) {
    ++me.decisions;
    options_.clear();
    const bool mayStay = !yields_ && CanGoOn(me);
    if (mayStay) {
      options_.push_back(me.number);
    }
    bool isTimed = false;
    for (std::size_t i = 1; i < threads_.size(); ++i) {
      const Thread& thread = *threads_[i];
      const bool canGoOn = CanGoOn(thread);
      if (canGoOn && &thread != &me) {
        options_.push_back(thread.number);
      }
      isTimed = isTimed || (!canGoOn && !thread.ended && thread.deadline != kNever);
    }
    if (isTimed) {
      options_.push_back(kClock);
    }
    if (options_.empty() && yields_) {
      options_.push_back(me.number);
    }
    yields_ = false;
    if (options_.empty()) {
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
    current_ = threads_[next].get();
    ::sem_post(&current_->baton);
    if (!leaves) {
      TakeBaton(me);
    }
    return;
  }
}

std::uint32_t Scheduler::Ask(const char* name, std::uintptr_t object, bool mayStay,
                             bool isNumber) noexcept {
  if (record_.steps == Record::kMaxSteps) {
    Fail("no end after %u steps", record_.steps);
  }
  const std::uint32_t chosen =
      strategy_.Choose({*current_, record_.steps, options_, mayStay, isNumber});
  record_.step[record_.steps++] = {
      current_->number, current_->decisions, chosen, chosen == options_[0], object, name};
  ++record_.totalSteps;
  return chosen;
}

std::string Scheduler::Describe() const {
  std::string text;
  for (std::size_t i = 1; i < threads_.size(); ++i) {
    const Thread& thread = *threads_[i];
    if (thread.ended) {
      continue;
    }
    text += "  thread " + std::to_string(thread.number) + " " + NameOf(thread);
    if (thread.condition != nullptr && !CanGoOn(thread)) {
      text += " waits for " + thread.condition->describe();
    } else {
      text += &thread == current_ ? " runs" : " can go on";
    }
    text += describeThread != nullptr ? describeThread(thread) + "\n" : "\n";
  }
  return text;
}

void Scheduler::Fail(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(record_.verdict, sizeof(record_.verdict), format, arguments);
  va_end(arguments);
  self = nullptr;  // what describes the threads uses the platform as if outside of runs
  std::snprintf(record_.report, sizeof(record_.report), "%s", Describe().c_str());
  ::_exit(1);
}

}  // namespace Velta::Simulation
