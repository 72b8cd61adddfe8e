// SPDX-License-Identifier: MIT
// Programs with a fault each, which the simulation must find: by every way, with the right verdict.
#include "Kit.h"
#include "Platform.h"
#include "tests/support/StressScale.h"
#include "velta/errors/MError.h"

#include <memory>
#include <new>

#include <signal.h>

namespace Velta::Simulation {

namespace {

void Together(const std::function<void()>& first, const std::function<void()>& second) {
  const Actor one("first", first);
  const Actor other("second", second);
}

void OppositeSections() {
  CRITICAL_SECTION sections[2];
  const auto enter = [&](int outer) {
    ::EnterCriticalSection(&sections[outer]);
    ::EnterCriticalSection(&sections[1 - outer]);
    ::LeaveCriticalSection(&sections[1 - outer]);
    ::LeaveCriticalSection(&sections[outer]);
  };
  Together([&] { enter(0); }, [&] { enter(1); });
}

void LostUpdate() {
  int value = 0;
  const auto increment = [&] {
    const int seen = value;
    Scheduler::Current()->Point("store");
    value = seen + 1;
  };
  Together(increment, increment);
  Check(value == 2, "an update is lost");
}

/// A word that is looked at, and slept on later: what comes between wakes nobody.
void LostWake() {
  bool isSet = false;
  Together(
      [&] {
        if (!isSet) {
          Scheduler::Current()->Point("sleep");
          Scheduler::Current()->WaitOn("sleeps", &isSet);
        }
      },
      [&] {
        Scheduler::Current()->Point("set");
        isSet = true;
        Scheduler::Current()->Wake(&isSet, 1);
      });
}

/// What is right of the two: the word is looked at and slept on in one step.
void KeptWake() {
  bool isSet = false;
  Together(
      [&] {
        Scheduler::Current()->Point("sleep");
        while (!isSet) {
          Scheduler::Current()->WaitOn("sleeps", &isSet);
        }
      },
      [&] {
        Scheduler::Current()->Point("set");
        isSet = true;
        Scheduler::Current()->Wake(&isSet, 1);
      });
}

void EarlyTimeOut() {
  const Event event;
  Together(
      [&] {
        const DWORD result = ::WaitForSingleObject(event.handle(), 1000);
        Check(result == WAIT_OBJECT_0, "a second was too short");
      },
      [&] { event.Set(); });
}

void ClosedHandle() {
  HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  Together([&] { ::SetEvent(event); }, [&] { ::CloseHandle(event); });
}

void WriteAfterFree() {
  auto value = std::make_unique<int>(0);
  int* const alias = value.get();
  Together(
      [&] {
        Scheduler::Current()->Point("write");
        *alias = 1;
      },
      [&] {
        Scheduler::Current()->Point("free");
        value.reset();
      });
}

// What the compiler sees it warns of or leaves out.
void* volatile memory = nullptr;

void FreedTwice() {
  memory = ::operator new(1);
  ::operator delete(memory);
  ::operator delete(memory);  // NOLINT(clang-analyzer-cplusplus.NewDelete): the fault
}

[[maybe_unused]] void Leak() { memory = ::operator new(1); }

void HandleLeft() { ::CreateEventW(nullptr, TRUE, FALSE, nullptr); }

void SectionHeld() {
  CRITICAL_SECTION section;
  const Actor actor("holder", [&] { ::EnterCriticalSection(&section); });
}

void ForeignSection() {
  CRITICAL_SECTION section;
  ::EnterCriticalSection(&section);
  const Actor actor("stranger", [&] { ::LeaveCriticalSection(&section); });
}

void Uncaught() {
  const Actor actor("thrower", [] { throw MException(MError(L"Planted:Failure")); });
}

void Crash() { ::raise(SIGSEGV); }

void Endless() {
  for (;;) {
    ::Sleep(0);
  }
}

}  // namespace

void AddPlantedFaults(std::vector<Scenario>& scenarios) {
  const auto add = [&](const char* name, void (*body)(), const char* verdict) {
    scenarios.push_back(InRun(std::string("planted.") + name, body));
    scenarios.back().expected = verdict;
  };
  add("sections", &OppositeSections, "deadlock");
  add("update", &LostUpdate, "an update is lost");
  add("wake", &LostWake, "deadlock");
  add("time-out", &EarlyTimeOut, "a second was too short");
  add("handle", &ClosedHandle, "SetEvent with closed handle #1");
  add("handle-left", &HandleLeft, "handle left open: event #1");
  add("section-held", &SectionHeld, "holder (thread 2) ended inside a critical section");
  add("section-foreign", &ForeignSection, "critical section left by a thread that is not inside");
  add("exception", &Uncaught, "uncaught exception: Planted:Failure");
  add("endless", &Endless, "no end after 20000 steps");
#if defined(VELTA_TEST_SANITIZED)
  add("write", &WriteAfterFree, "the process ended by itself");
  add("free", &FreedTwice, "the process ended by itself");
  add("crash", &Crash, "the process ended by itself");
#else
  add("write", &WriteAfterFree, "freed memory written");
  add("free", &FreedTwice, "memory freed twice");
  add("crash", &Crash, "crash: Segmentation fault");
  add("leak", &Leak, "memory left over");
#endif
  scenarios.push_back(InRun("planted.none", &KeptWake));
}

}  // namespace Velta::Simulation
