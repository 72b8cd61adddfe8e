// SPDX-License-Identifier: MIT
// Programs with a fault each, which the simulation must find: by every way, with the right verdict.
#include "Kit.h"
#include "tests/support/StressScale.h"
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/platform/internal/Win32.h"

#include <memory>
#include <new>

#include <signal.h>

namespace Velta::Simulation {

namespace {

void Together(const std::function<void()>& first, const std::function<void()>& second) {
  Spawn("first", first);
  Spawn("second", second);
  WaitUntilOthersEnd();
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
    Point("store");
    value = seen + 1;
  };
  Together(increment, increment);
  Check(value == 2, "an update is lost");
}

void WithEvent(void (*first)(HANDLE), void (*second)(HANDLE)) {
  const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  Together([=] { first(event); }, [=] { second(event); });
  if (Platform::Count().openHandles != 0) {
    ::CloseHandle(event);
  }
}

void WaitForEver(HANDLE event) { ::WaitForSingleObject(event, INFINITE); }
void Set(HANDLE event) { ::SetEvent(event); }
void Close(HANDLE event) { ::CloseHandle(event); }

/// What comes before the wait wakes nobody.
void Pulse(HANDLE event) {
  ::SetEvent(event);
  ::ResetEvent(event);
}

void WaitASecond(HANDLE event) {
  Check(::WaitForSingleObject(event, 1000) == WAIT_OBJECT_0, "a second was too short");
}

void WriteAfterFree() {
  auto value = std::make_unique<int>(0);
  int* const alias = value.get();
  Together(
      [&] {
        Point("write");
        *alias = 1;
      },
      [&] {
        Point("free");
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

void SectionHeld() {
  CRITICAL_SECTION section;
  Together([&] { ::EnterCriticalSection(&section); }, [] {});
}

void ForeignSection() {
  CRITICAL_SECTION section;
  ::EnterCriticalSection(&section);
  Together([&] { ::LeaveCriticalSection(&section); }, [] {});
}

void UsedSection() {
  CRITICAL_SECTION section;
  const auto pass = [&] {
    ::EnterCriticalSection(&section);
    Point("inside");
    ::LeaveCriticalSection(&section);
  };
  Together(pass, [&] { ::DeleteCriticalSection(&section); });
}

void Uncaught() {
  Together([] { throw MException(MError(L"Planted:Failure")); }, [] {});
}

void Endless() {
  for (;;) {
    ::Sleep(0);
  }
}

#if defined(VELTA_TEST_SANITIZED)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif
constexpr const char* kReported = "the process ended by itself";

}  // namespace

std::vector<Scenario> PlantedFaults() {
  const auto byUs = [](const char* verdict) { return kIsSanitized ? kReported : verdict; };
  std::vector<Scenario> all{
      InRun("planted.sections", &OppositeSections, "deadlock"),
      InRun("planted.update", &LostUpdate, "an update is lost"),
      InRun(
          "planted.wake", [] { WithEvent(&WaitForEver, &Pulse); }, "deadlock"),
      InRun(
          "planted.time-out", [] { WithEvent(&WaitASecond, &Set); }, "a second was too short"),
      InRun(
          "planted.handle", [] { WithEvent(&Set, &Close); }, "SetEvent with closed handle 0x4"),
      InRun(
          "planted.handle-waited-for", [] { WithEvent(&WaitForEver, &Close); },
          "event 0x4 closed while thread 2 waits for it"),
      InRun(
          "planted.handle-unknown", [] { ::SetEvent(reinterpret_cast<HANDLE>(8)); },
          "SetEvent with a handle that never was: 0x8"),
      InRun(
          "planted.handle-left", [] { ::CreateEventW(nullptr, TRUE, FALSE, nullptr); },
          "handle left open: event 0x4"),
      InRun("planted.section-held", &SectionHeld,
            "first (thread 2) ended inside a critical section"),
      InRun("planted.section-foreign", &ForeignSection,
            "critical section left by a thread that is not inside"),
      InRun("planted.section-used", &UsedSection, "critical section deleted while in use"),
      InRun("planted.exception", &Uncaught, "uncaught exception"),
      InRun("planted.endless", &Endless, "no end after 20000 steps"),
      InRun("planted.write", &WriteAfterFree, byUs("freed memory written")),
      InRun("planted.free", &FreedTwice, byUs("memory freed twice")),
      InRun(
          "planted.crash", [] { ::raise(SIGSEGV); }, byUs("crash: Segmentation fault")),
  };
  if (!kIsSanitized) {
    const auto leak = [] { memory = ::operator new(1); };
    all.push_back(InRun("planted.leak", leak, "memory left over"));
  }
  return all;
}

}  // namespace Velta::Simulation
